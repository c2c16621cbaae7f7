// The header that a page has of its own, read as Apache reads it.
#pragma once

#include "extras/String.h"

namespace quintora {

struct PageHeader {
  String fault;   // a sentence on what Apache sends its error page for; absent when it does not
  String status;  // of the last "Status:"; absent without one
  String contentType;       // of the last "Content-type:"
  bool isRedirect = false;  // it has a "Location:"
  std::string_view body;    // what follows it
};

// The page must live as long as the result.
PageHeader headerOf(std::string_view page);

}  // namespace quintora
