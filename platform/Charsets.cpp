#include "platform/Charsets.h"

#include <algorithm>

namespace quintora {

namespace {

// No sequence of any charset has more bytes.
constexpr size_t kLongestSequence = 8;

// Whether the bytes fit, but for a sequence at their end that may not be whole.
bool fitNearly(std::string_view bytes, TextEncoding encoding) {
  for (size_t cut = 0; cut <= std::min(bytes.size(), kLongestSequence); ++cut) {
    if (decodeData(Data(bytes.substr(0, bytes.size() - cut)), encoding))
      return true;
  }
  return false;
}

}  // namespace

// By trial, since not every system's converter says where it stopped.
size_t fittingBytes(std::string_view bytes, TextEncoding encoding) {
  size_t most = bytes.size();
  for (size_t fitting = 0; fitting < most;) {
    const size_t middle = most - (most - fitting) / 2;
    if (fitNearly(bytes.substr(0, middle), encoding))
      fitting = middle;
    else
      most = middle - 1;
  }
  while (most > 0 && !decodeData(Data(bytes.substr(0, most)), encoding))
    --most;
  return most;
}

}  // namespace quintora
