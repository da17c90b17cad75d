// SPDX-License-Identifier: GPL-3.0-or-later
// Walking a pcap file from one record header to the next.
#include "load/pcap_count.hpp"

#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace vocalink::bench {

namespace {

constexpr std::uint32_t magic = 0xA1B2C3D4;
constexpr std::size_t global_header_bytes = 24;
constexpr std::size_t record_header_bytes = 16;
constexpr std::size_t captured_offset = 8; // of the record's length, behind its time

std::uint32_t word_at(const std::vector<char>& bytes, std::size_t place) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + place, sizeof word);
    return word;
}

} // namespace

pcap_count count_pcap(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.size() < global_header_bytes || word_at(bytes, 0) != magic) {
        throw std::runtime_error("no pcap file: " + path);
    }
    pcap_count count{0, bytes.size()};
    std::size_t place = global_header_bytes;
    while (place + record_header_bytes <= bytes.size()) {
        place += record_header_bytes + word_at(bytes, place + captured_offset);
        ++count.packets;
    }
    if (place != bytes.size()) {
        throw std::runtime_error("ends within a record: " + path);
    }
    return count;
}

} // namespace vocalink::bench
