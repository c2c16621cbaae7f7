// A blocking HTTP client for one request to this machine. It uses no proxy, cookies or cache, does
// not follow redirects, does not decode content codings, and never tries again.
#pragma once

#include <chrono>
#include <utility>

#include "extras/String.h"

namespace quintora {

// The body of a request, made piece by piece while it is sent.
class HTTPBody {
 public:
  // The size of the whole body in bytes, exactly what read() writes in all.
  virtual uint64_t size() const = 0;

  // Writes the next bytes, as many as there is room for, which is 16 bytes at least. Returns how
  // many bytes it wrote: 0 only at the end.
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
  // The exchange fails after this time without a byte in either direction.
  std::chrono::milliseconds timeoutInterval;
};

struct HTTPResponse {
  int status = 0;               // of the reply; 0 on failure
  std::optional<Data> data;     // the body, possibly empty; absent on failure
  String textEncodingName;      // the charset that the reply declares; absent without one
  String localizedDescription;  // on failure, an English sentence that says what failed and where
};

// Sends the request and waits until the reply is complete, without waiting for the server to close
// the connection. Tries IPv4's loopback address first, and IPv6's only when the first refuses the
// connection or does not exist. Of the status only this matters: 1xx replies are skipped, 204 and
// 304 have no body.
HTTPResponse sendSynchronousRequest(const HTTPRequest& request);

// Connects as sendSynchronousRequest does, and sends nothing. Absent on success, else the sentence
// that says why there is no connection.
String connectionFailure(const HTTPRequest& request);

}  // namespace quintora
