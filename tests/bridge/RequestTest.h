// What the tests of the bridge share: a run that has not begun, and the process around it.
#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "bridge/RequestState.h"
#include "tests/support/TemporaryFolder.h"

namespace quintora {

// The variables that have to be forwarded, in the order in which the server expects them.
inline constexpr const char* kForwardedVariables[] = {
    // clang-format off
    "SERVER_SOFTWARE",
    "QUERY_STRING",
    "REMOTE_ADDR",
    "REMOTE_PORT",
    "REQUEST_METHOD",
    "SERVER_ADDR",
    "SERVER_ADMIN",
    "SERVER_NAME",
    "SERVER_PORT",
    "SERVER_SIGNATURE",
    "HTTP_ACCEPT",
    "HTTP_ACCEPT_ENCODING",
    "HTTP_ACCEPT_LANGUAGE",
    "HTTP_CONNECTION",
    "HTTP_HOST",
    "HTTP_REFERER",
    "HTTP_USER_AGENT",
    "HTTP_COOKIE",
    // clang-format on
};

// Each test begins with the request state of a run that has just started, with no variable of the
// request set and nothing on standard input.
class RequestTest : public testing::Test {
 protected:
  void SetUp() override {
    postParameters.reset();
    environmentVariables.reset();
    quiZServerPort = 0;
    postDataCode.reset();
    cgiResult.reset();
    for (const char* name : kForwardedVariables)
      environment_.set(name, std::nullopt);
    environment_.set("CONTENT_LENGTH", std::nullopt);
    savedInput_ = dup(STDIN_FILENO);
    setInput("");
  }

  void TearDown() override {
    dup2(savedInput_, STDIN_FILENO);
    close(savedInput_);
  }

  void setVariable(const std::string& name, const std::string& value) {
    environment_.set(name, value);
  }

  // Puts bytes on standard input.
  static void setInput(const std::string& bytes) {
    std::FILE* const file = std::tmpfile();
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fflush(file);
    dup2(fileno(file), STDIN_FILENO);
    std::fclose(file);
    lseek(STDIN_FILENO, 0, SEEK_SET);
  }

  // The same, with the CONTENT_LENGTH that goes with them.
  void setBody(const std::string& bytes) {
    setInput(bytes);
    setVariable("CONTENT_LENGTH", std::to_string(bytes.size()));
  }

  // How many bytes of standard input have been read.
  static int64_t bytesRead() { return lseek(STDIN_FILENO, 0, SEEK_CUR); }

 private:
  ScopedEnvironment environment_;
  int savedInput_ = -1;
};

}  // namespace quintora
