// SPDX-License-Identifier: GPL-3.0-or-later
// Writing the files and following the frames.
#include "load/sound_traffic.hpp"

#include "load/pacer.hpp"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace vocalink::bench {

namespace {

constexpr std::uint32_t frames_per_file = 50; // 8,000 bytes

/** What a frame carries about itself at its beginning. */
struct stamp {
    std::uint32_t file_be;
    std::uint32_t frame_be;
};

} // namespace

std::vector<std::string> write_sound_files(const std::string& directory, std::size_t files) {
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < files; ++i) {
        paths.push_back(directory + "/" + std::to_string(i) + ".ulaw");
        std::ofstream file(paths.back(), std::ios::binary);
        for (std::uint32_t number = 0; number < frames_per_file; ++number) {
            std::array<char, pcmu_payload_bytes> frame{};
            const stamp mine{htonl(static_cast<std::uint32_t>(i)), htonl(number)};
            std::memcpy(frame.data(), &mine, sizeof mine);
            file.write(frame.data(), static_cast<std::streamsize>(frame.size()));
        }
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + paths.back());
        }
    }
    return paths;
}

sound_traffic::sound_traffic(packet_socket& shared) : socket(shared) {
    by_port.fill(-1);
}

sound_result sound_traffic::run(const measured_process& target, double seconds) {
    socket.discard_waiting();
    listeners.assign(target.ports.size(), {});
    for (std::size_t i = 0; i < target.ports.size(); ++i) {
        by_port[target.ports[i]] = static_cast<std::int32_t>(i);
    }
    result = {};
    const double cpu_before = cpu_seconds(target.pid);
    const std::int64_t start_ns = now_ns();
    const std::int64_t end_ns = start_ns + static_cast<std::int64_t>(seconds * 1e9);
    while (now_ns() < end_ns) {
        socket.receive([this](std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
            take(bytes, from_port);
        });
    }
    result.cpu_s = cpu_seconds(target.pid) - cpu_before;
    const double frames_each = 1e-9 * static_cast<double>(now_ns() - start_ns) / frame_s;
    result.expected = frames_each * static_cast<double>(listeners.size());
    result.unheard = static_cast<std::uint64_t>(std::count_if(
        listeners.begin(), listeners.end(), [](const listener& each) { return !each.heard; }));
    for (const std::uint16_t port : target.ports) {
        by_port[port] = -1;
    }
    return result;
}

void sound_traffic::take(std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
    const std::int32_t number = by_port[from_port];
    if (number < 0) {
        return;
    }
    stamp mark{};
    if (bytes.size() != packet_bytes) {
        ++result.wrong;
        return;
    }
    std::memcpy(&mark, bytes.data() + rtp_header_bytes, sizeof mark);
    const std::uint32_t frame = ntohl(mark.frame_be);
    const auto sequence = static_cast<std::uint16_t>(bytes[2] << 8 | bytes[3]);
    listener& one = listeners[static_cast<std::size_t>(number)];
    const auto step = static_cast<std::uint16_t>(one.heard ? sequence - one.last_sequence : 1);
    const bool due = !one.heard || frame == (one.last_frame + step) % frames_per_file;
    const bool right = ntohl(mark.file_be) == static_cast<std::uint32_t>(number) && due;
    result.missing += static_cast<std::uint16_t>(step - 1);
    ++(right ? result.received : result.wrong);
    one = {true, sequence, frame};
}

} // namespace vocalink::bench
