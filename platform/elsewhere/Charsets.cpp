// Charsets by the C library's iconv, for all that is not built in.
#include "platform/SystemCharsets.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "platform/Process.h"
#include "platform/charsets/CharsetNames.h"

namespace quintora {

namespace {

// What iconv is asked for. Every C library's has these, so a name means the same in all builds. The
// range of their numbers is one that the built-in identifiers do not use: they have 32 bits.
constexpr TextEncoding kFirstNumber = 0x100000000;
struct Charset {
  char iconvsName[12];
  char names[52];  // a blank behind each
};
constexpr Charset kCharsets[] = {
    {"CP437", "ibm437 cp437 437 cspc8codepage437 "},
    {"CP850", "ibm850 cp850 850 cspc850multilingual "},
    {"CP1047", "ibm1047 cp1047 csibm1047 "},
    {"UTF-32BE", "utf-32be csutf32be "},
    {"UTF-32LE", "utf-32le csutf32le "},
    {"UCS-4BE", "iso-10646-ucs-4 ucs-4 ucs-4be csucs4 "},
    {"UCS-4LE", "ucs-4le "},
};

// What the C library calls an unknown charset may be one for which it had no memory. The volatile
// pointer is there because compilers drop a request whose memory nobody uses.
void requireMemoryForConverter() {
  constexpr size_t kMostOfAConverter = size_t{1} << 20;
  void* volatile memory = std::malloc(kMostOfAConverter);
  if (!memory)
    endWithoutMemory();
  std::free(memory);
}

// Owns a converter to UTF-8; there is none where the C library's files for it are missing.
class Converter {
 public:
  explicit Converter(const char* name) : handle_(opened(name)) {}
  ~Converter() {
    if (isOpen())
      iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool isOpen() const { return isConverter(handle_); }

  // Converts from the front of the bytes what fits into the output; the rest stays in both. Returns
  // whether anything was wrong other than a full output.
  bool convert(char** from, size_t* left, char** to, size_t* room) {
    return iconv(handle_, from, left, to, room) != static_cast<size_t>(-1) || errno == E2BIG;
  }

 private:
  static iconv_t opened(const char* name) {
    iconv_t handle = iconv_open("UTF-8", name);
    if (!isConverter(handle)) {
      requireMemoryForConverter();
      handle = iconv_open("UTF-8", name);  // there is memory now, so this tells the truth
    }
    return handle;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): what iconv_open returns when it fails
  static bool isConverter(iconv_t handle) { return handle != reinterpret_cast<iconv_t>(-1); }

  const iconv_t handle_;
};

String convertedToUTF8(const char* name, std::string_view bytes) {
  Converter converter(name);
  if (!converter.isOpen())
    return std::nullopt;
  Data result;
  char* from = const_cast<char*>(bytes.data());  // iconv does not write through it
  for (size_t left = bytes.size(); left > 0;) {
    char buffer[4096];
    char* to = buffer;
    size_t room = sizeof buffer;
    const size_t before = left;
    if (!converter.convert(&from, &left, &to, &room))
      return std::nullopt;
    if (left == before)
      return std::nullopt;  // a converter that does not get on would keep us here for ever
    result.append(buffer, sizeof buffer - room);
  }
  // From a charset with such numbers, iconv lets those beyond Unicode pass.
  return isValidUTF8(result) ? String(std::move(result)) : std::nullopt;
}

}  // namespace

TextEncoding systemTextEncoding(const std::string& name) {
  const auto* const known = std::find_if(
      std::begin(kCharsets), std::end(kCharsets),
      [&](const Charset& charset) { return isAmongCharsetNames(name, charset.names); });
  return known == std::end(kCharsets)
             ? kUnknownTextEncoding
             : kFirstNumber + static_cast<TextEncoding>(known - std::begin(kCharsets));
}

String decodedBySystem(std::string_view bytes, TextEncoding encoding) {
  const TextEncoding number = encoding - kFirstNumber;
  if (encoding < kFirstNumber || number >= std::size(kCharsets))
    return std::nullopt;
  return convertedToUTF8(kCharsets[number].iconvsName, bytes);
}

}  // namespace quintora
