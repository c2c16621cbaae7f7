// Making long texts.
#pragma once

#include <cstddef>
#include <string>

namespace quintora {

// Appends to a text by way of a block that stays in the processor's cache. A string has no room to
// write into that it has not cleared, and to clear many megabytes takes as long as to fill them.
template <typename Unit>
class BlockWriter {
 public:
  // The most that is written between two calls of place().
  static constexpr ptrdiff_t kMostAtOnce = 64;

  explicit BlockWriter(std::basic_string<Unit>& text) : text_(text) {}

  // Where to write next.
  Unit* place() {
    if (block_ + kBlock - place_ < kMostAtOnce)
      flush();
    return place_;
  }
  void wroteUpTo(Unit* end) { place_ = end; }

  // To be called at the end, or the text lacks some of what was written.
  void flush() {
    text_.append(block_, static_cast<size_t>(place_ - block_));
    place_ = block_;
  }

 private:
  static constexpr ptrdiff_t kBlock = 1024;

  std::basic_string<Unit>& text_;
  Unit block_[kBlock];
  Unit* place_ = block_;
};

}  // namespace quintora
