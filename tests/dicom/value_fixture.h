#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <string>
#include <string_view>

#include "dicom/allocator.h"
#include "dicom/data_set.h"

namespace talv {
inline uint16_t VrOf(const char* letters)
{
    return MakeVr(letters[0], letters[1]);
}

/// A data set whose top-level elements are given the bytes they would have in a file.
class StoredValues
{
  public:
    explicit StoredValues(bool bigEndian = false)
    {
        if (bigEndian) dataSet.mode = kModePreamble | kModeBigEndian | kModeExplicitVr;
    }

    /// Adds an element of the VR with a tag of its own; its stored value is `bytes`.
    DicomElement* Add(const char* vr, std::string_view bytes)
    {
        return Add(0x00110100 + count_++, vr, bytes);
    }
    DicomElement* Add(uint32_t tag, const char* vr, std::string_view bytes)
    {
        DicomElement* const element = dataSet.InsertElement(nullptr, false, tag, VrOf(vr), false, 0xFFFFFFFF);
        if (element == nullptr) {
            ADD_FAILURE() << vr;
            return nullptr;
        }
        contents_.emplace_back(bytes);
        streams_.emplace_back().OpenMemory(contents_.back().data(), bytes.size());
        element->valueStream = &streams_.back();
        element->length = element->valueLength = static_cast<uint32_t>(bytes.size());
        return element;
    }

    DicomDataSet dataSet;

  private:
    std::deque<std::string> contents_;
    std::deque<DicomStream> streams_;
    uint32_t count_ = 0;
};

/// Puts counting functions into the allocator's slots for its lifetime; call number `failAt` from 1 on fails.
class CountingAllocator
{
  public:
    explicit CountingAllocator(int failAt = 0) : saved_(dicomAllocator)
    {
        calls = live = 0;
        failing = failAt;
        dicomAllocator = {Allocate, Reallocate, Free};
    }
    ~CountingAllocator() { dicomAllocator = saved_; }
    CountingAllocator(const CountingAllocator&) = delete;
    CountingAllocator& operator=(const CountingAllocator&) = delete;

    static inline int calls = 0;    ///< allocations asked for
    static inline int live = 0;     ///< blocks not freed yet
    static inline int failing = 0;  ///< number of the call that fails; 0 for none

  private:
    static void* Allocate(size_t count, size_t size)
    {
        if (++calls == failing) return nullptr;
        ++live;
        return std::calloc(count, size);
    }
    static void* Reallocate(void* block, size_t size)
    {
        if (++calls == failing) return nullptr;
        if (block == nullptr) ++live;
        return std::realloc(block, size);
    }
    static void Free(void* block)
    {
        if (block != nullptr) --live;
        std::free(block);
    }

    DicomAllocator saved_;
};
}  // namespace talv
