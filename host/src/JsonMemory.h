#pragma once

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace vxhost {

// The memory that the JSON library works with in this program. The library takes what it is given
// for granted and writes to it; here it is never null: std::bad_alloc is thrown instead, also when
// a document has taken more than it may. [one thread at a time]
class JsonMemory {
 public:
  [[maybe_unused]] static constexpr bool kNeedFree = true;

  // most: bytes that may be taken in all.
  explicit JsonMemory(std::size_t most = std::numeric_limits<std::size_t>::max()) : left_(most) {}

  void* Malloc(std::size_t size) { return size == 0 ? nullptr : Realloc(nullptr, 0, size); }

  void* Realloc(void* block, std::size_t size, std::size_t newSize) {
    if (newSize == 0) {
      Free(block);
      return nullptr;
    }
    const std::size_t more = newSize > size ? newSize - size : 0;
    if (more > left_) throw std::bad_alloc();
    void* const grown = std::realloc(block, newSize);
    if (grown == nullptr) throw std::bad_alloc();
    left_ -= more;
    return grown;
  }

  static void Free(void* block) noexcept { std::free(block); }

 private:
  std::size_t left_;
};

// The library's types on this memory.
using JsonPool = rapidjson::MemoryPoolAllocator<JsonMemory>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, JsonMemory>;
using JsonValue = JsonDocument::ValueType;
using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;
using JsonWriter = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory>;

}  // namespace vxhost
