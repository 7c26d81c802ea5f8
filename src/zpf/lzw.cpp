#include "zpf/lzw.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tarnvale::ZPF {

namespace {

constexpr int kClear = 256, kEnd = 257, kFirstFree = 258;
constexpr int kCodes = 4096;
constexpr int kShortest = 9, kLongest = 12;
constexpr int kLastEncoded =
    kCodes - 3;  // the table is cleared before its last codes come into use

class BitWriter {
public:
    explicit BitWriter(std::vector<std::byte>& out) : out_(out) {}
    void Put(int code, int width) {
        bits_ = bits_ << width | static_cast<std::uint32_t>(code);
        count_ += width;
        for (; count_ >= 8; count_ -= 8)
            out_.push_back(static_cast<std::byte>(bits_ >> (count_ - 8) & 0xFF));
    }
    void Finish() {
        if (count_ > 0) Put(0, 8 - count_);
    }

private:
    std::vector<std::byte>& out_;
    std::uint32_t bits_ = 0;
    int count_ = 0;
};

/// Strings of the table, found by the code of all but the last byte and that byte.
class StringTable {
public:
    StringTable() : slots_(kSlots) { Clear(); }
    void Clear() {
        std::ranges::fill(slots_, Slot{});
        next_ = kFirstFree;
    }
    /// @return the code, or -1 and the string now has the next free code
    int FindOrAdd(int prefix, std::uint8_t last) {
        const std::uint32_t key = static_cast<std::uint32_t>(prefix) << 8 | last;
        std::uint32_t slot = key * 2654435761U >> kShift;
        for (; slots_[slot].code >= 0; slot = (slot + 1) % kSlots) {
            if (slots_[slot].key == key) return slots_[slot].code;
        }
        slots_[slot] = {key, next_++};
        return -1;
    }
    [[nodiscard]] int Next() const { return next_; }

private:
    struct Slot {
        std::uint32_t key = 0;
        int code = -1;
    };
    static constexpr std::uint32_t kSlots = 1 << 14, kShift = 32 - 14;
    std::vector<Slot> slots_;
    int next_ = kFirstFree;
};

}  // namespace

void LzwEncode(std::span<const std::byte> plain, std::vector<std::byte>& coded) {
    BitWriter writer(coded);
    StringTable table;
    int width = kShortest;
    writer.Put(kClear, width);
    int prefix = -1;
    for (const std::byte byte : plain) {
        const auto last = static_cast<std::uint8_t>(byte);
        if (prefix < 0) {
            prefix = last;
            continue;
        }
        if (const int code = table.FindOrAdd(prefix, last); code >= 0) {
            prefix = code;
            continue;
        }
        writer.Put(prefix, width);
        prefix = last;
        if (table.Next() > kLastEncoded) {
            writer.Put(kClear, width);
            table.Clear();
            width = kShortest;
        } else if (table.Next() > (1 << width) - 1) {
            ++width;
        }
    }
    if (prefix >= 0) writer.Put(prefix, width);
    // The reader has made one more string by now and may have widened its codes.
    if (prefix >= 0 && table.Next() + 1 > (1 << width) - 1 && width < kLongest) ++width;
    writer.Put(kEnd, width);
    writer.Finish();
}

bool LzwDecode(std::span<const std::byte> coded, std::span<std::byte> plain) {
    // A string is told by where in `plain` it was first written, and its length.
    struct Entry {
        std::uint32_t start = 0, length = 0;
    };
    std::array<Entry, kCodes> table{};
    std::size_t in = 0, out = 0;
    std::uint32_t bits = 0;
    int count = 0, width = kShortest, next = kFirstFree;
    Entry previous{};
    while (out < plain.size()) {
        while (count < width) {
            if (in == coded.size()) return false;
            bits = bits << 8 | static_cast<std::uint32_t>(coded[in++]);
            count += 8;
        }
        const int code = static_cast<int>(bits >> (count - width) & ((1U << width) - 1));
        count -= width;
        if (code == kEnd) return false;
        if (code == kClear) {
            width = kShortest;
            next = kFirstFree;
            previous = {};
            continue;
        }
        const auto start = static_cast<std::uint32_t>(out);
        std::uint32_t length = 1;
        if (code < 256) {
            plain[out++] = static_cast<std::byte>(code);
        } else {
            const bool known = code < next;
            if (!known && (code > next || previous.length == 0)) return false;
            const Entry source = known ? table[static_cast<std::size_t>(code)] : previous;
            length = source.length + (known ? 0 : 1);
            if (length > plain.size() - out) return false;
            // A string still being made ends with its own first byte: copying forward finds it.
            for (std::uint32_t i = 0; i < length; ++i) plain[out++] = plain[source.start + i];
        }
        if (previous.length != 0 && next < kCodes) {
            table[static_cast<std::size_t>(next++)] = {previous.start, previous.length + 1};
        }
        if (next >= (1 << width) - 1 && width < kLongest) ++width;
        previous = {start, length};
    }
    return true;
}

}  // namespace tarnvale::ZPF
