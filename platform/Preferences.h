// The preferences of another application, read-only.
#pragma once

#include <memory>

#include "extras/String.h"

namespace quintora {

class Preferences {
 public:
  // The domain is the application's identifier in reverse-domain form. Reads nothing yet.
  explicit Preferences(const String& domain);
  ~Preferences();
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;

  // The value stored under the key, numbers in decimal; absent when the key is not set, the
  // preferences cannot be read or the value is neither text nor a number.
  String objectForKey(const String& key);

  // A place where values come from, and what was found there so far. sources() lists them in the
  // order of precedence.
  struct Source {
    enum class State { notNeeded, read, absent, unreadable, notUTF8 };
    String name;
    State state;
    int error;  // why it is unreadable
    // What is written there, comments included, once it has been read; where preferences are no
    // text, "KEY =" for each key of the domain.
    std::vector<std::string> lines;
  };
  std::vector<Source> sources() const;

  // The name of the source that holds the key's value; absent when it is not set.
  String sourceOfKey(const String& key);

 private:
  struct Store;
  std::unique_ptr<Store> store_;
};

}  // namespace quintora
