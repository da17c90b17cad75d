// SPDX-License-Identifier: GPL-3.0-or-later
// Starting recordings, following their notices, and measuring their files.
#include "recorded.hpp"

#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>
#include <utility>

namespace vocalink::demo {

recording::recording(dialogue& control, std::string stream, const std::string& name,
                     const std::string& type, const std::string& remark)
    : stream_id(std::move(stream)) {
    const std::string reply = control.say("recording start " + stream_id + " " + name + " " + type,
                                          remark, "where the file will be when it is complete");
    file_path = reply.substr(std::string_view("SUCCESS ").size());
}

void recording::hear_start(dialogue& control) const {
    const std::string file_name = std::filesystem::path(file_path).filename();
    control.hear("REC_STARTED " + file_name + " " + stream_id, "its first packet is recorded");
}

void recording::hear_end(dialogue& control) const {
    const std::string file_name = std::filesystem::path(file_path).filename();
    control.hear("REC_FINISHED " + file_name + " " + stream_id, "the file is in its place");
}

std::vector<std::string> recording::check(const recorded_size& expected) const {
    std::error_code missing;
    const std::size_t bytes = std::filesystem::file_size(file_path, missing);
    if (missing) {
        return {"the recording " + file_path + " is not there: " + missing.message()};
    }
    const std::size_t expected_bytes =
        expected.header_bytes + expected.packets * expected.bytes_per_packet;
    std::cout << "  " << file_path << "\n    has " << bytes << " bytes"
              << (bytes == expected_bytes ? " = " : ", which is not ") << expected.header_bytes
              << " + " << expected.packets << " packets x " << expected.bytes_per_packet << '\n';
    if (bytes != expected_bytes) {
        return {"the recording " + file_path + " has " + std::to_string(bytes) +
                " bytes instead of " + std::to_string(expected_bytes)};
    }
    return {};
}

} // namespace vocalink::demo
