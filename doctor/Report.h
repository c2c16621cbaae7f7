// What the doctor says of a copy: what it meets on its way, and at the end what is wrong.
#pragma once

#include "extras/String.h"

namespace quintora {

// What a finding does to a visitor, the worst first: no page comes; the page, or the server that it
// comes from, is not the one that was meant; nothing so far.
enum class Weight { stops, harms, surprises };

// What was found, what a visitor sees by it and what to do, in whole sentences.
struct Finding {
  Weight weight;
  std::string found;
  std::string effect;
  std::string fix;
};

using Findings = std::vector<Finding>;

// The text in quotes, which are others than those that it has.
std::string quoted(std::string_view text);

// The beginning of a text's first line, quoted, with "?" for what a terminal might obey.
std::string excerpt(std::string_view text);

class Report {
 public:
  Report();

  void section(const char* title);
  void fact(const String& sentence) { line("", ' ', sentence); }
  void good(const String& sentence) { line("\033[32m", '+', sentence); }
  void finding(Finding finding);
  void add(const Findings& findings);

  // The findings in the order of their weight.
  void conclude();
  bool isHealthy() const { return findings_.empty(); }

 private:
  void line(const char* colour, char mark, const String& sentence);
  void numberFindings(Weight weight, int& number);

  const bool isColoured_;
  Findings findings_;
};

}  // namespace quintora
