// Tunnel mode: the exchange with the server application as one HTTP POST.
#pragma once

#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "platform/Charsets.h"
#include "platform/HTTPClient.h"

namespace quintora {

// Posts postParameters to the server's port on this machine, waits for the reply and leaves its
// text, or a message, in cgiResult, which is never absent afterwards. Never sends twice.
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

// Whether a URL can be made of the port: a negative number is none, any other is for the client to
// judge.
bool isPortOfURL(int64_t port);

// The request that SendLocalURL sends to such a port.
HTTPRequest localRequest(HTTPBody& body);

// Whether a reply has come whose text can be told: one with a body and a declared charset.
bool isReadableReply(const HTTPResponse& response);

// What cgiResult becomes for the client's answer.
String resultOfResponse(HTTPResponse response);

// The text of a reply whose declared charset has this identifier: 0 leaves the encoding to be
// found out. What cannot be decoded gives the empty text.
String textOfReply(Data body, TextEncoding encoding);

}  // namespace quintora
