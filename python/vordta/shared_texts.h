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

    template <class Word>
    static uint64_t word_at(const char *from) {
        Word word;
        std::memcpy(&word, from, sizeof word);
        return word;
    }

    // The last bytes of a text, at most eight, where those of a longer text may overlap with what stands before.
    static uint64_t last_word(std::string_view text) {
        const char *end = text.data() + text.size();
        if (text.size() >= sizeof(uint64_t))
            return word_at<uint64_t>(end - sizeof(uint64_t));
        if (text.size() >= sizeof(uint32_t))
            return word_at<uint32_t>(text.data()) << 32 | word_at<uint32_t>(end - sizeof(uint32_t));
        uint64_t word = 0;
        for (const char byte : text)
            word = word << 8 | static_cast<uint8_t>(byte);
        return word;
    }

    // Made for speed, against nobody: a column whose texts meet ends up slow, not wrong.
    static uint64_t hash_of(std::string_view text) {
        uint64_t hash = text.size();
        const auto mix = [&hash](uint64_t word) {
            hash = (hash ^ word) * 0x9E37'79B9'7F4A'7C15U;
            hash ^= hash >> 32;
        };
        for (size_t at = 0; at + sizeof(uint64_t) < text.size(); at += sizeof(uint64_t))
            mix(word_at<uint64_t>(text.data() + at));
        mix(last_word(text));
        return hash;
    }

    // Of texts with the same hash, which those of up to eight bytes and one length have only when they are equal.
    static bool is_same(std::string_view one, std::string_view other) {
        if (one.size() != other.size())
            return false;
        if (one.size() > 2 * sizeof(uint64_t))
            return one == other;
        return one.size() <= sizeof(uint64_t) ||
               (word_at<uint64_t>(one.data()) == word_at<uint64_t>(other.data()) && last_word(one) == last_word(other));
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
