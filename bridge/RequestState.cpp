#include "bridge/RequestState.h"

Dictionary postParameters;
Array environmentVariables;
int64_t quiZServerPort = 0;
String postDataCode;
String cgiResult;
