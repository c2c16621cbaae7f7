# Bottle: python3-bottle
from bottle import request, response, route, run


@route("/apache-tunnel/", method="POST")
def page():
    response.content_type = "text/plain; charset=utf-8"
    return f"Hello, {request.forms.getunicode('name')}!"


run(host="127.0.0.1", port=8080)
