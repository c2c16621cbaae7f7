#include "bridge/SendAppleEvent.h"

#include "bridge/RequestState.h"

// Until the bridge can send Apple events no server can be reached by them.
void SendAppleEvent(const String&) {
  cgiResult = u"Quintora CGI error: Quintora Server is not running.";
}
