#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#include <rapidjson/document.h>

// Documents of the tool's answers, whose memory is there or throws. [one thread at a time]
namespace NAMESPACE_piTorvex {

// Memory of the JSON library. The library itself writes through the null pointer that it gets where
// memory has run out. Throws std::bad_alloc. [any thread]
class CThrowingAllocator {
 public:
  [[maybe_unused]] static constexpr bool kNeedFree = true;  // asked for by the library
  static void* Malloc(std::size_t size) { return size == 0 ? nullptr : Checked(std::malloc(size)); }
  static void* Realloc(void* memory, std::size_t /*oldSize*/, std::size_t newSize) {
    if (newSize != 0) return Checked(std::realloc(memory, newSize));
    Free(memory);
    return nullptr;
  }
  static void Free(void* memory) { std::free(memory); }

 private:
  static void* Checked(void* memory) {
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }
};

// One answer of the tool, and a value in it. A value lives as long as its document.
using CToolDocument = rapidjson::GenericDocument<
    rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<CThrowingAllocator>, CThrowingAllocator>;
using CToolValue = CToolDocument::ValueType;

}  // namespace NAMESPACE_piTorvex
