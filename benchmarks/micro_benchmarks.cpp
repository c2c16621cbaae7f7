// The operations where a run's time goes, one at a time, by the product's public headers, and a few
// of the others on long texts. The figures are bytes a second of what goes in; compare them on one
// machine only.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "bridge/FinishResponse.h"
#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"
#include "extras/Message.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "extras/TextEncoding.h"
#include "platform/http/HTTPReply.h"

namespace quintora {

namespace {

constexpr size_t kTextBytes = 1 << 20;
constexpr size_t kFormBytes = 1 << 18;
constexpr size_t kReadBytes = 65536;  // of one read from a connection

// Texts as they occur, all of them UTF-8.
enum Kind : int64_t { kPlain, kProse, kEscaped, kForeign };
constexpr const char* kKindNames[] = {"letters", "prose", "all escaped", "not ASCII"};

std::string repeated(std::string_view piece, size_t bytes) {
  std::string text;
  while (text.size() + piece.size() <= bytes)
    text += piece;
  return text;
}

std::string textOf(int64_t kind, size_t bytes) {
  switch (kind) {
    case kProse:
      return repeated("The quick brown fox, it is said, jumps over the lazy dog.\r\n", bytes);
    case kEscaped:
      return repeated("&%+\"", bytes);
    case kForeign:
      return repeated("Grüße aus Zürich, 漢字 und mehr. ", bytes);
    default:
      return repeated("abcdefghijklmnopqrstuvwxyz012345", bytes);
  }
}

// Each unit of "all escaped" is an escape; the others are as a browser sends them.
std::string formOf(int64_t kind, size_t bytes) {
  switch (kind) {
    case kProse:
      return repeated("The+quick+brown+fox%2C+it+is+said%2C+jumps+over+the+lazy+dog.%0D%0A", bytes);
    case kEscaped:
      return repeated("%41%7A%20", bytes);
    case kForeign:
      return repeated("Gr%C3%BC%C3%9Fe+aus+Z%C3%BCrich%2C+%E6%BC%A2%E5%AD%97+und+mehr.+", bytes);
    default:
      return textOf(kind, bytes);
  }
}

void report(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

void label(benchmark::State& state) { state.SetLabel(kKindNames[state.range(0)]); }

void AllKinds(benchmark::internal::Benchmark* benchmark) {
  for (const Kind kind : {kPlain, kProse, kEscaped, kForeign})
    benchmark->Arg(kind);
}

// --- Encodings

void DecodeUTF8(benchmark::State& state) {
  std::string bytes = textOf(state.range(0), kTextBytes);
  for (auto _ : state) {
    String text = initWithDataEncoding(std::move(bytes), kUTF8TextEncoding);
    benchmark::DoNotOptimize(text->data());
    bytes = std::move(*text);
  }
  report(state, bytes.size());
  label(state);
}
BENCHMARK(DecodeUTF8)->Arg(kPlain)->Arg(kForeign);

void DecodeLatin1(benchmark::State& state) {
  const std::string bytes = repeated("Gr\374\337e aus Z\374rich. ", kTextBytes);
  for (auto _ : state)
    benchmark::DoNotOptimize(initWithDataEncoding(bytes, kISOLatin1TextEncoding));
  report(state, bytes.size());
}
BENCHMARK(DecodeLatin1);

// --- Escapes

void RemovePercentEncoding(benchmark::State& state) {
  const std::string form = formOf(state.range(0), kTextBytes);
  for (auto _ : state)
    benchmark::DoNotOptimize(stringByRemovingPercentEncoding(form));
  report(state, form.size());
  label(state);
}
BENCHMARK(RemovePercentEncoding)->Apply(AllKinds);

void AddPercentEscapes(benchmark::State& state) {
  const std::string bytes = textOf(state.range(0), kTextBytes);
  const String text = initWithDataEncoding(bytes, kUTF8TextEncoding);
  for (auto _ : state)
    benchmark::DoNotOptimize(stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding));
  report(state, bytes.size());
  label(state);
}
BENCHMARK(AddPercentEscapes)->Apply(AllKinds);

void ReplacePlus(benchmark::State& state) {
  const std::string form = formOf(kProse, kTextBytes);
  const String text = initWithDataEncoding(form, kUTF8TextEncoding);
  for (auto _ : state)
    benchmark::DoNotOptimize(stringByReplacingOccurrencesOfStringWithString(text, "+", " "));
  report(state, form.size());
}
BENCHMARK(ReplacePlus);

// --- The form, from standard input to the request's body

// Standard input is this text, as often as it is read from its start.
void becomeStandardInput(const std::string& text) {
  char name[] = "/tmp/micro-benchmark-XXXXXX";
  const int file = mkstemp(name);
  unlink(name);
  if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    std::abort();
  dup2(file, STDIN_FILENO);
  close(file);
  setenv("CONTENT_LENGTH", std::to_string(text.size()).c_str(), 1);
}

void captureForm(benchmark::State& state, const std::string& form) {
  becomeStandardInput(form);
  for (auto _ : state) {
    lseek(STDIN_FILENO, 0, SEEK_SET);
    postParameters.emplace();
    AddPostData();
  }
  postParameters.reset();
  report(state, form.size());
}

// The count of the iterations is fixed because a run's body is never released.
void CaptureValue(benchmark::State& state) {
  captureForm(state, "value=" + formOf(state.range(0), kFormBytes));
  label(state);
}
BENCHMARK(CaptureValue)->Apply(AllKinds)->Iterations(300);

std::string smallFields(size_t count) {
  std::string form;
  for (size_t i = 0; i < count; ++i)
    form += "field" + std::to_string(i) + "=value+" + std::to_string(i) + "&";
  return form;
}

void CaptureFields(benchmark::State& state) {
  captureForm(state, smallFields(static_cast<size_t>(state.range(0))));
}
BENCHMARK(CaptureFields)->Arg(10)->Iterations(20000);
BENCHMARK(CaptureFields)->Arg(10000)->Iterations(100);

void CaptureVariables(benchmark::State& state) {
  setenv("CONTENT_LENGTH", "0", 1);
  for (const char* name : kCGIVariables)
    setenv(name, "text/html,application/xml;q=0.9,*/*;q=0.8", 1);
  for (auto _ : state) {
    postParameters.emplace();
    CaptureRequest("/cgi-bin/Quintora.cgi", "Quintora.cgi");
  }
  postParameters.reset();
}
BENCHMARK(CaptureVariables);

void EncodeValue(benchmark::State& state) {
  const std::string bytes = textOf(state.range(0), kTextBytes);
  Dictionary parameters(std::in_place);
  setObjectForKey(parameters, initWithDataEncoding(bytes, kUTF8TextEncoding), "value");
  for (auto _ : state)
    benchmark::DoNotOptimize(encodePostData(parameters));
  report(state, bytes.size());
  label(state);
}
BENCHMARK(EncodeValue)->Apply(AllKinds);

void EncodeFields(benchmark::State& state) {
  Dictionary parameters(std::in_place);
  for (int64_t i = 0; i < state.range(0); ++i) {
    setObjectForKey(parameters, composed({"value ", i}), composed({"field", i}));
  }
  for (auto _ : state)
    benchmark::DoNotOptimize(encodePostData(parameters));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(EncodeFields)->Arg(20)->Arg(10000);

// --- The reply

void takeReply(benchmark::State& state, const std::string& reply) {
  for (auto _ : state) {
    HTTPReply parser;
    HTTPReply::State outcome = HTTPReply::State::incomplete;
    for (std::string_view left = reply; !left.empty() && outcome == HTTPReply::State::incomplete;) {
      outcome = parser.parse(left.substr(0, kReadBytes));
      left.remove_prefix(std::min(kReadBytes, left.size()));
    }
    if (outcome != HTTPReply::State::complete)
      state.SkipWithError("the reply is not complete");
    benchmark::DoNotOptimize(parser.body.data());
  }
  report(state, reply.size());
}

constexpr const char* kReplyHead =
    "HTTP/1.1 200 OK\r\nServer: example\r\nContent-Type: text/html; charset=utf-8\r\n";

void WholeReply(benchmark::State& state) {
  const std::string body = textOf(kProse, static_cast<size_t>(state.range(0)));
  takeReply(state,
            kReplyHead + ("Content-Length: " + std::to_string(body.size())) + "\r\n\r\n" + body);
}
BENCHMARK(WholeReply)->Arg(1000)->Arg(kTextBytes);

void ChunkedReply(benchmark::State& state) {
  const size_t size = static_cast<size_t>(state.range(0));
  char sizeLine[32];
  std::snprintf(sizeLine, sizeof sizeLine, "%zx\r\n", size);
  std::string reply = std::string(kReplyHead) + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string chunk = sizeLine + textOf(kPlain, size) + "\r\n";
  reply += repeated(chunk, kTextBytes) + "0\r\n\r\n";
  takeReply(state, reply);
}
BENCHMARK(ChunkedReply)->Arg(64)->Arg(4096);

void Finish(benchmark::State& state) {
  String page = textOf(kPlain, kTextBytes);  // searched for line ends to its own end
  for (auto _ : state) {
    FinishedResponse response = FinishResponse(std::move(page));
    benchmark::DoNotOptimize(response.text.data());
    page = std::move(response.text);
  }
  report(state, page->size());
}
BENCHMARK(Finish);

// --- Small operations, many of which make a run

void SubstringFunnel(benchmark::State& state) {
  const String text = initWithDataEncoding(textOf(kProse, 1000), kUTF8TextEncoding);
  for (auto _ : state)
    benchmark::DoNotOptimize(substringFunnelFromTo(text, 10, -11));
}
BENCHMARK(SubstringFunnel);

void BeginsAndEndsWith(benchmark::State& state) {
  const String text = initWithDataEncoding(textOf(kProse, 1000), kUTF8TextEncoding);
  for (auto _ : state)
    benchmark::DoNotOptimize(beginsWithEndsWith(text, "Content-type:", "\r\n"));
}
BENCHMARK(BeginsAndEndsWith);

void PercentEscapeList(benchmark::State& state) {
  const std::string bytes = textOf(kProse, kTextBytes);
  const String text = initWithDataEncoding(bytes, kUTF8TextEncoding);
  for (auto _ : state)
    benchmark::DoNotOptimize(percentEscapeList(text, "+&"));
  report(state, bytes.size());
}
BENCHMARK(PercentEscapeList);

void Composed(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(composed({"ApacheTunnel_", String("QUERY_STRING")}));
}
BENCHMARK(Composed);

}  // namespace

}  // namespace quintora
