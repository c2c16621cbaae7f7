// The container that a Dictionary holds.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quintora {

// A map from string to string, in the order in which the keys were first set. Copies of all the
// bytes are kept in one block, so that a form field costs no allocation of its own. Setting or
// finding a key takes constant time, even for keys that an attacker has chosen.
class StringMap {
 public:
  using value_type = std::pair<std::string_view, std::string_view>;
  class const_iterator;

  StringMap() = default;
  StringMap(std::initializer_list<value_type> entries);

  // Sets the key to the value, replacing an earlier one. Invalidates the views that earlier calls
  // returned, so the arguments must not be such views.
  void insert_or_assign(std::string_view key, std::string_view value);

  // The value of the key, valid until the map is changed; absent when the key is not set.
  std::optional<std::string_view> find(std::string_view key) const;

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  // All keys and values, one after the other. Those that were set anew are among them more than
  // once.
  std::string_view bytes() const { return block_; }
  const_iterator begin() const;
  const_iterator end() const;

 private:
  // Where in the block the key's bytes are; the value's follow them.
  struct Entry {
    size_t offset, keySize, valueSize;
  };

  value_type at(size_t index) const;
  size_t indexAmongFew(std::string_view key) const;
  size_t indexInBuckets(std::string_view key);
  uint64_t hashOf(std::string_view key) const;
  size_t bucketOf(std::string_view key, uint64_t hash) const;
  uint32_t bucketValue(uint64_t hash, size_t index) const;
  size_t indexIn(uint32_t bucket) const { return (bucket & (buckets_.size() - 1)) - 1; }
  void rehash();
  void fillBuckets(size_t first, size_t end);

  std::string block_;
  std::vector<Entry> entries_;
  // The number of buckets is a power of two, and at least half of them are 0, which is empty. A
  // used bucket holds an entry's index + 1 in its lower bits, as many as a bucket's number has. The
  // bits above are from the hash of the key, so that hardly ever a wrong key is compared. Buckets
  // have 32 bits because large tables do not stay in the processor's cache.
  std::vector<uint32_t> buckets_;
  uint64_t hashKey_[2] = {};
};

class StringMap::const_iterator {
 public:
  const_iterator() = default;  // equal to itself only
  const_iterator(const StringMap& map, size_t index) : map_(&map), index_(index) {}
  value_type operator*() const { return map_->at(index_); }
  const_iterator& operator++() {
    ++index_;
    return *this;
  }
  bool operator!=(const const_iterator& other) const { return index_ != other.index_; }

 private:
  const StringMap* map_ = nullptr;
  size_t index_ = 0;
};

inline StringMap::const_iterator StringMap::begin() const { return {*this, 0}; }
inline StringMap::const_iterator StringMap::end() const { return {*this, size()}; }

// Whether both have the same keys and values, in any order.
bool operator==(const StringMap& a, const StringMap& b);

}  // namespace quintora
