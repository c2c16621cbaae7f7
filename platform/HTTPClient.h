// A blocking HTTP client for one request to this machine. Nothing comes between the two: no proxy,
// no cookie, no redirect, no cache, no undoing of content codings, and no second attempt.
#pragma once

#include <chrono>
#include <utility>

#include "extras/String.h"

namespace quintora {

// The body of a request, made piece by piece while it is sent.
class HTTPBody {
 public:
  // The body's whole length in bytes, which read() must keep to.
  virtual uint64_t size() const = 0;

  // Writes the next bytes, as many as there is room for, which is 16 bytes at least. Returns how
  // many there were, 0 at the end only.
  virtual size_t read(char* to, size_t room) = 0;

 protected:
  ~HTTPBody() = default;
};

struct HTTPRequest {
  std::string method;
  std::string host;  // for the Host header; the connection goes to this machine in any case
  int64_t port;
  std::string path;
  std::vector<std::pair<std::string, std::string>> headers;  // name and value, in sending order
  HTTPBody& body;
  // How long neither side may send a byte before the exchange is given up.
  std::chrono::milliseconds timeoutInterval;
};

struct HTTPResponse {
  int status = 0;               // of the reply; 0 on failure
  std::optional<Data> data;     // the body, possibly empty; absent on failure
  String textEncodingName;      // the charset that the reply declares; absent without one
  String localizedDescription;  // on failure, an English sentence that says what failed and where
};

// Sends the request and waits until the reply is complete, without waiting for the server to close
// the connection. IPv4's loopback address is tried first, and IPv6's only when that refuses the
// connection or is not there. The status of the reply has no influence, but that 1xx replies are
// skipped and 204 and 304 have no body.
HTTPResponse sendSynchronousRequest(const HTTPRequest& request);

// Connects as sendSynchronousRequest does, and sends nothing. Absent when a connection stands, else
// the sentence that says why not.
String connectionFailure(const HTTPRequest& request);

}  // namespace quintora
