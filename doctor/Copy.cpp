#include "doctor/Copy.h"

#include <cerrno>

#include "doctor/CopyVersion.h"
#include "extras/Message.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace quintora {

namespace {

constexpr const char* kErrorPage =
    "A web server that runs as this user shows an error page of its own.";

Finding findingOfMissingFile(const String& name, const char* path) {
  if (const String target = targetOfLink(path))
    return {Weight::stops,
            composed({name, " is a link that leads nowhere: it points to ", excerpt(*target), "."}),
            kErrorPage, "Let the link point to an installed copy of the bridge."};
  return {Weight::stops, composed({name, ": there is no such file."}), kErrorPage,
          "Correct the path. The package and the sources may install the bridge in different "
          "directories, such as /usr/lib/cgi-bin and /usr/local/lib/cgi-bin."};
}

Finding findingOfError(const String& name, int error) {
  return {Weight::stops,
          composed({name, " cannot be run by this user: ",
                    error == EISDIR ? "it is a directory" : systemSentence(error), "."}),
          kErrorPage,
          "Correct the path, or let this user execute the file and enter each directory above it."};
}

}  // namespace

void reportCopy(Report& report, const char* path) {
  report.section("The copy");
  const String name = stringWithFileSystemRepresentation(path);
  const int error = executionError(path);
  if (error != 0)
    return report.finding(error == ENOENT ? findingOfMissingFile(name, path)
                                          : findingOfError(name, error));
  report.good(composed({name, " can be run by this user."}));
  reportVersion(report, path);
}

}  // namespace quintora
