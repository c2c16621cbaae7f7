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

// iconv has names and no numbers, so names are numbered in the order of their first use. The
// numbers begin above those of the built-in identifiers, which have 32 bits.
constexpr TextEncoding kFirstNumber = 0x100000000;
std::vector<std::string> numberedNames;

// Charsets that every C library's iconv has, but each under other names. The names listed here mean
// the same with every library; any other name is passed to iconv as it is.
struct Charset {
  char iconvsName[12];
  char names[52];  // a blank after each
};
constexpr Charset kCommonCharsets[] = {
    {"CP437", "ibm437 cp437 437 cspc8codepage437 "},
    {"CP850", "ibm850 cp850 850 cspc850multilingual "},
    {"CP1047", "ibm1047 cp1047 csibm1047 "},
    {"UTF-32BE", "utf-32be csutf32be "},
    {"UTF-32LE", "utf-32le csutf32le "},
    {"UCS-4BE", "iso-10646-ucs-4 ucs-4 ucs-4be csucs4 "},
    {"UCS-4LE", "ucs-4le "},
};

std::string iconvsName(const std::string& name) {
  const auto* const charset =
      std::find_if(std::begin(kCommonCharsets), std::end(kCommonCharsets),
                   [&](const Charset& common) { return isAmongCharsetNames(name, common.names); });
  return charset == std::end(kCommonCharsets) ? name : charset->iconvsName;
}

// The C library also reports a charset as unknown when it has no memory for the converter. The
// pointer is volatile because compilers remove an allocation that is not used.
void requireMemoryForConverter() {
  constexpr size_t kMostOfAConverter = size_t{1} << 20;
  void* volatile memory = std::malloc(kMostOfAConverter);
  if (!memory)
    endWithoutMemory();
  std::free(memory);
}

// Owns a converter to UTF-8, if iconv knows the name.
class Converter {
 public:
  explicit Converter(const std::string& name) : handle_(opened(name.c_str())) {}
  ~Converter() {
    if (isOpen())
      iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool isOpen() const { return isConverter(handle_); }

  // Converts as many bytes as fit into the output, and advances both. A null input flushes what a
  // stateful charset has kept back. False on any error other than a full output.
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

String convertedToUTF8(const std::string& name, std::string_view bytes) {
  Converter converter(name);
  if (!converter.isOpen())
    return std::nullopt;
  Data result;
  char* from = const_cast<char*>(bytes.data());  // iconv does not write through it
  size_t left = bytes.size();
  for (bool isFlushing = false;;) {
    char buffer[4096];
    char* to = buffer;
    size_t room = sizeof buffer;
    const size_t before = left;
    if (!converter.convert(isFlushing ? nullptr : &from, isFlushing ? nullptr : &left, &to, &room))
      return std::nullopt;
    result.append(buffer, sizeof buffer - room);
    if (isFlushing) {
      // iconv accepts numbers beyond Unicode in charsets that can express them.
      return isValidUTF8(result) ? String(std::move(result)) : std::nullopt;
    }
    if (left == before && left != 0 && room == sizeof buffer)
      return std::nullopt;  // a converter without progress would keep us here for ever
    isFlushing = left == 0;
  }
}

}  // namespace

TextEncoding systemTextEncoding(const std::string& name) {
  const std::string iconvs = iconvsName(name);
  const auto known = std::find(numberedNames.begin(), numberedNames.end(), iconvs);
  const TextEncoding number = static_cast<TextEncoding>(known - numberedNames.begin());
  if (known == numberedNames.end())
    numberedNames.push_back(iconvs);
  return kFirstNumber + number;
}

String decodedBySystem(std::string_view bytes, TextEncoding encoding) {
  const TextEncoding number = encoding - kFirstNumber;
  if (encoding < kFirstNumber || number >= numberedNames.size())
    return std::nullopt;
  return convertedToUTF8(numberedNames[number], bytes);
}

}  // namespace quintora
