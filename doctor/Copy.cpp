#include "doctor/Copy.h"

#include <cerrno>

#include "doctor/CopyVersion.h"
#include "extras/Message.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace quintora {

void reportCopy(Report& report, const char* path) {
  report.section("The copy");
  const String name = stringWithFileSystemRepresentation(path);
  const int error = executionError(path);
  if (error != 0)
    return report.finding(
        {Weight::stops,
         composed({name, " cannot be run by this user: ",
                   error == EISDIR ? "it is a directory" : systemSentence(error), "."}),
         "A web server that runs as this user shows an error page of its own.",
         "Correct the path, or let this user execute the file and enter each directory above it."});
  report.good(composed({name, " can be run by this user."}));
  report.fact(versionOfCopy(path));
}

}  // namespace quintora
