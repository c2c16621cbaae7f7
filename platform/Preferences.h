// The preferences of another application, read-only.
#pragma once

#include <memory>

#include "extras/String.h"

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

  // Where values come from, in the order in which they are looked for, each with what is there: for
  // the explanation of what was found. A value is asked for first.
  struct Place {
    String name;
    String state;
  };
  std::vector<Place> places() const;

 private:
  struct Store;
  std::unique_ptr<Store> store_;
};
