// A request as a web server hands it over, made of an input: lines "NAME=value" up to an empty
// line, which are the environment, and then standard input. A body without a CONTENT_LENGTH gets a
// true one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Fuzz.h"
#include "platform/HTTPClient.h"

namespace quintora {

struct Request {
  explicit Request(std::string_view input);

  std::vector<std::string> environment;  // "NAME=value", without NUL
  std::string body;
};

// What a request's buffer may take; this much memory the machine has, and no more.
inline constexpr size_t kMostMemory = size_t{1} << 20;

inline constexpr char kBridgePath[] = "/srv/cgi-bin/Gateway_8081.cgi";
inline constexpr char kCommandName[] = "Gateway_8081.cgi";

// The request, captured by the product. The request state holds what came of it as long as this
// lives.
class Capture {
 public:
  Capture(const Request& request, bool isAppleEventMode);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  bool endedRun() const { return endedRun_; }

 private:
  LeftMemory left_;
  bool endedRun_ = false;
};

// A body, read in pieces of many sizes; which ones depends on the seed.
std::string wholeOf(HTTPBody& body, std::string_view seed);

}  // namespace quintora
