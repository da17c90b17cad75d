// SPDX-License-Identifier: GPL-3.0-or-later
// Records on their way from the loop to the file writer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vocalink {

/** A sequence of records, gathered so that many reach the file by one write. Adding one costs one
 *  append. They lie as they are to lie in the file, but for records that repeat, such as frames of
 *  silence, of which one is stored. */
class record_block {
  public:
    /** Makes room for that much, so that a block like the last one grows without moving. */
    void reserve(std::size_t memory_bytes) { stored.reserve(memory_bytes); }

    /** Adds one record of two parts, which are not both empty. */
    void append(std::span<const char> prefix, std::span<const char> body) {
        stored.insert(stored.end(), prefix.begin(), prefix.end());
        stored.insert(stored.end(), body.begin(), body.end());
        const auto length = static_cast<std::uint32_t>(prefix.size() + body.size());
        if (runs.empty() || runs.back().repeats || runs.back().length != length) {
            runs.push_back({length, 0, false});
        }
        runs.back().records += 1;
        in_file += length;
    }

    /** Adds copies of a record. Runs of the same record that follow one another become one. */
    void append_copies(std::span<const char> record, std::uint32_t copies);

    [[nodiscard]] bool empty() const { return runs.empty(); }
    /** Bytes that the block holds now. */
    [[nodiscard]] std::size_t memory_bytes() const {
        return stored.size() + runs.size() * sizeof(run);
    }
    /** Bytes that it comes to in the file. */
    [[nodiscard]] long long file_bytes() const { return in_file; }
    /** Copies in the run at the end, 0 when the last record is not one of a run. */
    [[nodiscard]] std::uint32_t copies_at_end() const;

    /** Calls take(std::span<const char> bytes, std::uint32_t copies) for all, in order: for records
     *  that lie together as long as none repeats, and for one that does. */
    template <class Take>
    void for_each_piece(Take&& take) const {
        std::size_t begin = 0; // of what lies together
        std::size_t end = 0;
        for (const run& each : runs) {
            if (!each.repeats) {
                end += std::size_t{each.length} * each.records;
                continue;
            }
            take(std::span(stored).subspan(begin, end - begin), 1U);
            take(std::span(stored).subspan(end, each.length), each.records);
            end += each.length;
            begin = end;
        }
        take(std::span(stored).subspan(begin), 1U);
    }

    struct extent {
        long long records = 0;
        long long bytes = 0;
    };
    /** The whole records among the first bytes of what the block comes to in the file. */
    [[nodiscard]] extent whole_records(long long first_bytes) const;

  private:
    /** Records of one length. */
    struct run {
        std::uint32_t length; // bytes of one
        std::uint32_t records;
        bool repeats; // they are all the same, and one is stored
    };

    std::vector<char> stored;
    std::vector<run> runs;
    long long in_file = 0;
};

} // namespace vocalink
