// SPDX-License-Identifier: GPL-3.0-or-later
// Records on their way from the loop to the file writer.
#include "recording/record_block.hpp"

#include <algorithm>

namespace vocalink {

void record_block::append_copies(std::span<const char> record, std::uint32_t copies) {
    in_file += static_cast<long long>(record.size()) * copies;
    if (copies_at_end() > 0 && runs.back().length == record.size() &&
        std::equal(record.rbegin(), record.rend(), stored.rbegin())) {
        runs.back().records += copies;
        return;
    }
    stored.insert(stored.end(), record.begin(), record.end());
    runs.push_back({static_cast<std::uint32_t>(record.size()), copies, true});
}

std::uint32_t record_block::copies_at_end() const {
    return runs.empty() || !runs.back().repeats ? 0 : runs.back().records;
}

record_block::extent record_block::whole_records(long long first_bytes) const {
    extent whole;
    for (const run& each : runs) {
        const long long room = (first_bytes - whole.bytes) / each.length;
        const long long fitting = std::min<long long>(each.records, room);
        whole.records += fitting;
        whole.bytes += fitting * each.length;
        if (fitting < each.records) {
            break;
        }
    }
    return whole;
}

} // namespace vocalink
