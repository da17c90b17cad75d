// SPDX-License-Identifier: GPL-3.0-or-later
// Records on their way from the loop to the file writer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace vocalink {

/** A sequence of records, gathered so that many reach the file by one write. Adding one costs one
 *  append. A record that repeats, such as a frame of silence, is stored once with its number. */
class record_block {
  public:
    /** Makes room for that much, so that a block like the last one grows without moving. */
    void reserve(std::size_t memory_bytes) { bytes.reserve(memory_bytes); }

    /** Adds one record of two parts. */
    void append(std::span<const char> prefix, std::span<const char> body) {
        const std::size_t length = prefix.size() + body.size();
        char* at = extend({static_cast<std::uint32_t>(length), 1});
        if (!prefix.empty()) {
            at = static_cast<char*>(std::memcpy(at, prefix.data(), prefix.size())) + prefix.size();
        }
        std::memcpy(at, body.data(), body.size());
        in_file += static_cast<long long>(length);
        run_at = no_run;
    }

    /** Adds copies of a record. Runs of the same record that follow one another become one. */
    void append_copies(std::span<const char> record, std::uint32_t copies);

    [[nodiscard]] bool empty() const { return bytes.empty(); }
    /** Bytes that the block holds now. */
    [[nodiscard]] std::size_t memory_bytes() const { return bytes.size(); }
    /** Bytes that it comes to in the file. */
    [[nodiscard]] long long file_bytes() const { return in_file; }
    /** Copies in the run at the end, 0 when the last record is not one of a run. */
    [[nodiscard]] std::uint32_t copies_at_end() const;

    /** Calls take(std::span<const char> record) for every record and copy, in order. */
    template <class Take>
    void for_each(Take&& take) const {
        for (std::size_t at = 0; at < bytes.size();) {
            const record_head head = head_at(at);
            at += sizeof head;
            for (std::uint32_t i = 0; i < head.copies; ++i) {
                take(std::span<const char>(bytes.data() + at, head.length));
            }
            at += head.length;
        }
    }

  private:
    struct record_head {
        std::uint32_t length; // bytes, which follow
        std::uint32_t copies;
    };
    static constexpr std::size_t no_run = static_cast<std::size_t>(-1);

    [[nodiscard]] record_head head_at(std::size_t at) const {
        record_head head{};
        std::memcpy(&head, bytes.data() + at, sizeof head);
        return head;
    }
    /** @return where the record behind the head goes */
    char* extend(const record_head& head) {
        const std::size_t at = bytes.size();
        bytes.resize(at + sizeof head + head.length);
        std::memcpy(bytes.data() + at, &head, sizeof head);
        return bytes.data() + at + sizeof head;
    }

    std::vector<char> bytes; // heads and records
    long long in_file = 0;
    std::size_t run_at = no_run; // head of the run at the end
};

} // namespace vocalink
