// The preferences of another application, read-only.
#pragma once

#include <memory>

#include "extras/String.h"

namespace quintora {

class Preferences {
 public:
  // The domain is the application's identifier in reverse-domain form. Nothing is read yet.
  explicit Preferences(const String& domain);
  ~Preferences();
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;

  // The value stored under the key, numbers in decimal; absent when the key is not set, the
  // preferences cannot be read or the value is neither text nor a number.
  String objectForKey(const String& key);

  // For those who explain where values come from:
  // the place that holds the key's value; absent when it is not set;
  String placeOfKey(const String& key);
  // and all places in the order in which they are asked, with what was found there so far.
  struct Place {
    String name;
    String state;
    bool isTrouble;  // something is there and cannot be used
  };
  std::vector<Place> places() const;

 private:
  struct Store;
  std::unique_ptr<Store> store_;
};

}  // namespace quintora
