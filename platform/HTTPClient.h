// A blocking HTTP client for one request to this machine. Nothing comes between the two: no proxy,
// no cookie, no redirect, no cache, no undoing of content codings, and no second attempt.
#pragma once

#include <chrono>
#include <utility>

#include "extras/String.h"
#include "platform/URL.h"

namespace quintora {

struct HTTPRequest {
  URL url;
  std::string method;
  std::vector<std::pair<std::string, std::string>> headers;  // name and value, in sending order
  Data body;
  // How long neither side may send a byte before the exchange is given up.
  std::chrono::milliseconds timeoutInterval;
};

struct HTTPResponse {
  std::optional<Data> data;     // the body, possibly empty; absent on failure
  String textEncodingName;      // the charset that the reply declares; absent without one
  String localizedDescription;  // on failure, an English sentence that says what failed and where
};

// Sends the request and waits until the reply is complete, without waiting for the server to close
// the connection. The addresses (numeric IPv4 or IPv6) stand for the URL's host; each is tried only
// when the one before it refused the connection. The status of the reply has no influence, but that
// 1xx replies are skipped and 204 and 304 have no body.
HTTPResponse sendSynchronousRequest(const HTTPRequest& request,
                                    const std::vector<std::string>& addresses = {"127.0.0.1",
                                                                                 "::1"});

// Connects as sendSynchronousRequest does, and sends nothing. Absent when a connection stands, else
// the sentence that says why not.
String connectionFailure(const HTTPRequest& request,
                         const std::vector<std::string>& addresses = {"127.0.0.1", "::1"});

}  // namespace quintora
