#include "doctor/Report.h"

#include <algorithm>
#include <cstdio>

#include "extras/Characters.h"
#include "extras/Message.h"
#include "extras/TextEncoding.h"
#include "platform/Process.h"

namespace quintora {

namespace {

// Characters that change the state of a terminal or the order in which it shows others: controls
// (Unicode's category Cc) and the marks, embeddings, overrides and isolates of its bidirectional
// algorithm.
bool isControl(char32_t value) {
  return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x61C || value == 0x200E ||
         value == 0x200F || (value >= 0x202A && value <= 0x202E) ||
         (value >= 0x2066 && value <= 0x2069);
}

}  // namespace

std::string quoted(std::string_view text) {
  const char* const quote = text.find('"') == text.npos ? "\"" : "'";
  return composed({quote, text, quote});
}

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

std::string bytes(size_t count) { return composed({count, count == 1 ? " byte" : " bytes"}); }

std::string excerpt(std::string_view text) {
  constexpr size_t kMostBytes = 60;
  text = text.substr(0, text.find_first_of("\r\n"));
  std::string shown(text.substr(0, kMostBytes));
  const auto isContinuation = [](char c) { return (c & 0xC0) == 0x80; };
  while (shown.size() < text.size() && isContinuation(text[shown.size()]))
    shown += text[shown.size()];
  return quoted(shown.append(shown.size() < text.size() ? "..." : ""));
}

std::string printable(std::string_view text, std::string_view kept) {
  std::string shown;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, bytesOfCharacter(text.front()));
    const bool isText = isValidUTF8(character);
    const bool isShown = isText && (!isControl(characterAt(character, 0).value) ||
                                    kept.find(character) != kept.npos);
    shown += isShown ? character : "?";
    text.remove_prefix(isText ? character.size() : 1);
  }
  return shown;
}

// Line-buffered even into a pipe, so that each line is seen at once: the next step may take a
// minute.
Report::Report() : isColoured_(isTerminalOutput()) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

void Report::section(const char* title) {
  std::printf(isColoured_ ? "\033[1m%s\033[0m\n" : "%s\n", title);
}

void Report::line(const char* colour, char mark, const String& sentence) {
  const bool isPlain = !isColoured_ || *colour == '\0';
  std::printf("  %s%c%s %s\n", isPlain ? "" : colour, mark, isPlain ? "" : "\033[0m",
              printable(sentence.value_or("")).c_str());
}

void Report::finding(Finding finding) {
  line("\033[31m", '!', finding.found);
  findings_.push_back(std::move(finding));
}

void Report::add(const Findings& findings) {
  for (const Finding& each : findings)
    finding(each);
}

void Report::numberFindings(Weight weight, int& number) {
  for (const Finding& finding : findings_) {
    if (finding.weight == weight)
      std::printf("  %d. %s\n     %s\n     Fix: %s\n", ++number, printable(finding.found).c_str(),
                  printable(finding.effect).c_str(), printable(finding.fix).c_str());
  }
}

void Report::conclude() {
  section(isHealthy() ? "Findings" : "Findings, the worst first");
  if (isHealthy()) {
    good("None.");
    fact("Not looked at: the web server, forms, cookies.");
  }
  int number = 0;
  for (const Weight weight : {Weight::stops, Weight::harms, Weight::surprises})
    numberFindings(weight, number);
}

}  // namespace quintora
