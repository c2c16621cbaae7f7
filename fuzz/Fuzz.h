// What the fuzz targets share: saying that a rule is broken, and the product within a process that
// goes on after it.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quintora {

// What libFuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

inline std::string_view inputText(const uint8_t* bytes, size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

// A finding unless the rule holds.
void require(bool holds, const char* rule);

// Numbers that look random and are the same for the same input.
class Numbers {
 public:
  explicit Numbers(std::string_view input);
  // At least 1, at most `most`.
  size_t upTo(size_t most);

 private:
  uint64_t state_;
};

// What the product leaves to the end of the process is released when this goes out of scope. All
// that the product still refers to must be gone by then.
class LeftMemory {
 public:
  LeftMemory() = default;
  ~LeftMemory();
  LeftMemory(const LeftMemory&) = delete;
  LeftMemory& operator=(const LeftMemory&) = delete;

  // Calls the product. True when it ended the run (raiseException), as it must for some requests.
  template <typename Call>
  bool endsIn(Call call) {
    begin();
    const bool ended = setjmp(*endOfRun()) != 0;
    if (!ended)
      call();
    end();
    return ended;
  }

 private:
  static std::jmp_buf* endOfRun();
  static void begin();
  static void end();
};

}  // namespace quintora
