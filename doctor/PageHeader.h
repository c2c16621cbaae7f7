// The page's own header, read as Apache reads it.
#pragma once

#include "extras/String.h"

namespace quintora {

struct PageHeader {
  String fault;   // why Apache sends an error page instead, a sentence; absent when it does not
  String status;  // of the last "Status:"; absent without one
  String contentType;       // of the last "Content-type:"
  bool isRedirect = false;  // it has a "Location:"
  std::string_view body;    // what follows the header
};

// The page must live as long as the result.
PageHeader headerOf(std::string_view page);

}  // namespace quintora
