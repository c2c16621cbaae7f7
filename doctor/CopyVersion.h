// The version of an installed copy of the bridge.
#pragma once

#include <string>

namespace quintora {

// A sentence about the version of the copy at this path: which one it is, that the file has none,
// or why this user cannot read it. The copy is not run: an older one would not know the question.
std::string versionOfCopy(const char* path);

}  // namespace quintora
