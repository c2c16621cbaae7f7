#include "extras/StringMap.h"

#include <algorithm>
#include <chrono>

#include "extras/SipHash.h"
#include "extras/String.h"

namespace quintora {

namespace {

// A map with fewer entries has no buckets: to compare keys one by one takes less time.
constexpr size_t kLeastForBuckets = 32;
constexpr size_t kFirstBuckets = 128;
static_assert(kLeastForBuckets <= kFirstBuckets / 2);
constexpr size_t kUsualBytes = 2048;  // of a request without a form
constexpr size_t kTogether = 16;
constexpr size_t kMostBuckets = size_t{1} << 31;  // of those reached by steps of four, in 32 bits

}  // namespace

StringMap::StringMap(std::initializer_list<value_type> entries) {
  for (const auto& [key, value] : entries)
    insert_or_assign(key, value);
}

void StringMap::insert_or_assign(std::string_view key, std::string_view value) {
  if (entries_.empty()) {
    entries_.reserve(kLeastForBuckets);
    block_.reserve(kUsualBytes);
  }
  if (entries_.size() >= std::max(kLeastForBuckets, buckets_.size() / 2))
    rehash();
  const size_t index = buckets_.empty() ? indexAmongFew(key) : indexInBuckets(key);
  const Entry entry = {block_.size(), key.size(), value.size()};
  block_.append(key).append(value);  // a replaced value stays in the block, unused
  if (index < entries_.size())
    entries_[index] = entry;
  else
    entries_.push_back(entry);
}

std::optional<std::string_view> StringMap::find(std::string_view key) const {
  const size_t index =
      buckets_.empty() ? indexAmongFew(key) : indexIn(buckets_[bucketOf(key, hashOf(key))]);
  if (index >= entries_.size())  // that of an empty bucket is the largest number
    return std::nullopt;
  return at(index).second;
}

// The number of entries if there is none with the key.
size_t StringMap::indexAmongFew(std::string_view key) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return entry.keySize == key.size() && block_.compare(entry.offset, entry.keySize, key) == 0;
  });
  return static_cast<size_t>(found - entries_.begin());
}

// The same, but then the key has a bucket for an entry that is to be added.
size_t StringMap::indexInBuckets(std::string_view key) {
  const uint64_t hash = hashOf(key);
  uint32_t& bucket = buckets_[bucketOf(key, hash)];
  if (bucket == 0)
    bucket = bucketValue(hash, entries_.size());
  return indexIn(bucket);
}

StringMap::value_type StringMap::at(size_t index) const {
  const Entry& entry = entries_[index];
  const char* const bytes = block_.data() + entry.offset;
  return {{bytes, entry.keySize}, {bytes + entry.keySize, entry.valueSize}};
}

// Without knowing the hash's key, nobody can choose strings that all fall into one bucket, which
// would take time quadratic in their number.
uint64_t StringMap::hashOf(std::string_view key) const { return sipHash(hashKey_, key); }

// The content of an entry's bucket. The bucket's number comes from the lower half of the hash.
uint32_t StringMap::bucketValue(uint64_t hash, size_t index) const {
  const uint32_t indexBits = static_cast<uint32_t>(buckets_.size() - 1);
  return (static_cast<uint32_t>(hash >> 32) & ~indexBits) | static_cast<uint32_t>(index + 1);
}

// The bucket of the key's entry, or the empty bucket where a new entry would go.
size_t StringMap::bucketOf(std::string_view key, uint64_t hash) const {
  const size_t last = buckets_.size() - 1;
  size_t number = hash & last;
  for (uint32_t bucket; (bucket = buckets_[number]) != 0; number = (number + 1) & last) {
    const size_t index = indexIn(bucket);
    if (bucket == bucketValue(hash, index) && at(index).first == key)
      break;
  }
  return number;
}

// Makes four times as many buckets. The hash's key is made of what an attacker cannot know: the
// time to the nanosecond, and where the system has put this process in memory.
void StringMap::rehash() {
  if (buckets_.size() >= kMostBuckets)
    raiseException();
  buckets_.assign(std::max(kFirstBuckets, 4 * buckets_.size()), 0);
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  hashKey_[0] = reinterpret_cast<uintptr_t>(buckets_.data()) ^ static_cast<uint64_t>(now) << 16;
  hashKey_[1] = reinterpret_cast<uintptr_t>(&kFirstBuckets) ^ reinterpret_cast<uintptr_t>(&now)
                                                                  << 24;
  entries_.reserve(buckets_.size() / 2);
  for (size_t index = 0; index < entries_.size(); index += kTogether)
    fillBuckets(index, std::min(index + kTogether, entries_.size()));
}

// Puts entries into the buckets. These may be too many for the processor's cache, so they are
// prefetched for all these entries at once, instead of waiting for one after the other.
void StringMap::fillBuckets(size_t first, size_t end) {
  const size_t last = buckets_.size() - 1;
  uint64_t hashes[kTogether] = {};
  for (size_t index = first; index < end; ++index) {
    hashes[index - first] = hashOf(at(index).first);
    __builtin_prefetch(&buckets_[hashes[index - first] & last], /*forWriting=*/1);
  }
  for (size_t index = first; index < end; ++index) {
    const uint64_t hash = hashes[index - first];
    size_t number = hash & last;
    while (buckets_[number] != 0)  // no two keys are equal
      number = (number + 1) & last;
    buckets_[number] = bucketValue(hash, index);
  }
}

bool operator==(const StringMap& a, const StringMap& b) {
  if (a.size() != b.size())
    return false;
  for (const auto& [key, value] : a) {
    if (b.find(key) != value)
      return false;
  }
  return true;
}

}  // namespace quintora
