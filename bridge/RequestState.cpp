#include "bridge/RequestState.h"

namespace quintora {

Dictionary postParameters;
Array environmentVariables;
int64_t quiZServerPort = 0;
String postDataCode;
String cgiResult;

}  // namespace quintora
