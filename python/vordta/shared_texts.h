// Python's texts for those of a column: one object for equal texts while there are few different ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <pybind11/pybind11.h>
#include <string>
#include <string_view>
#include <vector>

namespace vor::python {

// A table of texts with open addressing: a column asks it once for each row. Used with the GIL.
class SharedTexts {
  public:
    SharedTexts() : slots_(first_slots) {}
    SharedTexts(const SharedTexts &) = delete;
    SharedTexts &operator=(const SharedTexts &) = delete;
    ~SharedTexts() { forget(); }

    // A new reference; null with Python's error.
    PyObject *get(std::string_view text) {
        if (slots_.empty() || text.size() > longest_shared)
            return make(text);
        ++asked_;
        const uint64_t hash = hash_of(text);
        Slot &slot = find(hash, text);
        if (!slot.object)
            return add(slot, hash, text);
        Py_INCREF(slot.object);
        return slot.object;
    }

  private:
    static constexpr size_t first_slots = 1024; // a power of two, of which at most half are taken
    static constexpr size_t enough_to_judge = 4096;
    static constexpr size_t most_shared = size_t{1} << 18;
    static constexpr size_t longest_shared = 256; // bytes

    struct Slot {
        uint64_t hash = 0;
        PyObject *object = nullptr; // null: free
        std::string_view text;
    };

    static PyObject *make(std::string_view text) {
        return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
    }

    // Eight bytes at a time. Made for speed, against nobody: a column whose texts meet ends up slow, not wrong.
    static uint64_t hash_of(std::string_view text) {
        uint64_t hash = text.size();
        const auto mix = [&hash](uint64_t word) {
            hash = (hash ^ word) * 0x9E37'79B9'7F4A'7C15U;
            hash ^= hash >> 32;
        };
        const char *from = text.data();
        size_t left = text.size();
        for (; left > sizeof(uint64_t); from += sizeof(uint64_t), left -= sizeof(uint64_t)) {
            uint64_t word;
            std::memcpy(&word, from, sizeof word);
            mix(word);
        }
        uint64_t last = 0;
        for (size_t i = 0; i < left; ++i)
            last = last << 8 | static_cast<uint8_t>(from[i]);
        mix(last);
        return hash;
    }

    // Of texts with the same hash, which those of up to eight bytes and one length have only when they are equal.
    static bool is_same(std::string_view one, std::string_view other) {
        return one.size() == other.size() && (one.size() <= sizeof(uint64_t) || one == other);
    }

    Slot &find(uint64_t hash, std::string_view text) {
        const size_t mask = slots_.size() - 1;
        size_t at = hash & mask;
        while (slots_[at].object && !(slots_[at].hash == hash && is_same(slots_[at].text, text)))
            at = (at + 1) & mask;
        return slots_[at];
    }

    PyObject *add(Slot &slot, uint64_t hash, std::string_view text) {
        PyObject *made = make(text);
        if (!made)
            return nullptr;
        Py_INCREF(made);
        slot = {hash, made, texts_.emplace_back(text)};
        const bool mostly_different = texts_.size() > enough_to_judge && texts_.size() > asked_ / 2;
        if (mostly_different || texts_.size() > most_shared)
            forget();
        else if (texts_.size() > slots_.size() / 2)
            grow();
        return made;
    }

    void grow() {
        std::vector<Slot> before(slots_.size() * 4);
        before.swap(slots_);
        for (const Slot &slot : before)
            if (slot.object)
                find(slot.hash, slot.text) = slot;
    }

    void forget() {
        for (const Slot &slot : slots_)
            Py_XDECREF(slot.object);
        slots_ = {};
        texts_.clear();
    }

    std::vector<Slot> slots_; // empty when nothing is shared any more
    std::deque<std::string> texts_;
    size_t asked_ = 0;
};

} // namespace vor::python
