// Tunnel mode: the exchange with the server as one HTTP POST.
#pragma once

#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "platform/Charsets.h"
#include "platform/HTTPClient.h"

namespace quintora {

// Posts postParameters to the server's port on this machine, once, and waits for the reply. Puts
// the reply's text, or a message, into cgiResult, which is never absent afterwards.
void SendLocalURL();

// The fields of a dictionary as the body of a request.
class FormBody final : public HTTPBody {
 public:
  explicit FormBody(const Dictionary& fields) : encoder_(fields) {}
  uint64_t size() const override { return encoder_.size(); }
  size_t read(char* to, size_t room) override { return encoder_.read(to, room); }

 private:
  PostDataEncoder encoder_;
};

// Whether the port is acceptable in a URL: a negative number is not. The HTTP client rejects the
// other invalid ports.
bool isPortOfURL(int64_t port);

// The request that SendLocalURL sends.
HTTPRequest localRequest(HTTPBody& body);

// Whether a reply has come that has a body and declares a charset.
bool isReadableReply(const HTTPResponse& response);

// The value of cgiResult for this result of the HTTP client.
String resultOfResponse(HTTPResponse response);

// Decodes the body of a reply. For kNoTextEncoding the encoding is guessed. Returns the empty
// string when the body is not valid in the encoding.
String textOfReply(Data body, TextEncoding encoding);

}  // namespace quintora
