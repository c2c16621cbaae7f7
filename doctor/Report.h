// The doctor's output: facts as it comes to them, and the findings at the end.
#pragma once

#include "extras/String.h"

namespace quintora {

// What a finding means for a visitor, the worst first: there is no page; the page is wrong or comes
// from the wrong server; no harm so far.
enum class Weight { stops, harms, surprises };

// What was found, its effect and how to fix it, in whole sentences.
struct Finding {
  Weight weight;
  std::string found;
  std::string effect;
  std::string fix;
};

using Findings = std::vector<Finding>;

// The text in double quotes, or in single ones when it has double ones itself.
std::string quoted(std::string_view text);

bool isASCII(std::string_view text);

// "1 byte", "2 bytes".
std::string bytes(size_t count);

// The text as a terminal may get it: "?" replaces what is not UTF-8 and each character that would
// change the terminal's state, unless it is one of those to be kept. Servers, other users' files
// and file names decide what is shown.
std::string printable(std::string_view text, std::string_view kept = "");

// The beginning of the text's first line, quoted.
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
  size_t countOfFindings() const { return findings_.size(); }

 private:
  void line(const char* colour, char mark, const String& sentence);
  void numberFindings(Weight weight, int& number);

  const bool isColoured_;
  Findings findings_;
};

}  // namespace quintora
