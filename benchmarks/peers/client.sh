#!/bin/sh
# The bridge's job by curl: the variables and the form as one POST, and the answer.
set -eu

form=
if [ "${CONTENT_LENGTH:-0}" -gt 0 ]; then
  form=$(head -c "$CONTENT_LENGTH")
fi
set -- --data-raw "$form"
for name in SERVER_SOFTWARE QUERY_STRING REMOTE_ADDR REMOTE_PORT REQUEST_METHOD SERVER_ADDR \
  SERVER_ADMIN SERVER_NAME SERVER_PORT SERVER_SIGNATURE HTTP_ACCEPT HTTP_ACCEPT_ENCODING \
  HTTP_ACCEPT_LANGUAGE HTTP_CONNECTION HTTP_HOST HTTP_REFERER HTTP_USER_AGENT HTTP_COOKIE; do
  eval "value=\${$name-}"
  # shellcheck disable=SC2154 # eval has set it
  set -- "$@" --data-urlencode "ApacheTunnel_$name=$value"
done
printf 'Content-type: text/plain\r\n\r\n'
exec curl --silent --fail "$@" "http://127.0.0.1:$BENCHMARK_PORT/apache-tunnel/"
