// SPDX-License-Identifier: GPL-3.0-or-later
// Records on their way from the loop to the file writer.
#include "recording/record_block.hpp"

#include <algorithm>

namespace vocalink {

void record_block::append_copies(std::span<const char> record, std::uint32_t copies) {
    in_file += static_cast<long long>(record.size()) * copies;
    if (run_at != no_run) {
        record_head head = head_at(run_at);
        const char* const repeated = bytes.data() + run_at + sizeof head;
        if (std::equal(record.begin(), record.end(), repeated, repeated + head.length)) {
            head.copies += copies;
            std::memcpy(bytes.data() + run_at, &head, sizeof head);
            return;
        }
    }
    run_at = bytes.size();
    char* const at = extend({static_cast<std::uint32_t>(record.size()), copies});
    std::memcpy(at, record.data(), record.size());
}

std::uint32_t record_block::copies_at_end() const {
    return run_at == no_run ? 0 : head_at(run_at).copies;
}

} // namespace vocalink
