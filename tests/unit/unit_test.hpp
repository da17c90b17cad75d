// SPDX-License-Identifier: GPL-3.0-or-later
// What unit tests share: the standard library, bytes, files, and a loop with the default options.
#pragma once

#include "base/config.hpp"
#include "harness/rtp_peer.hpp"
#include "harness/temporary_directory.hpp"
#include "util/packet_poll.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace vocalink {

namespace fs = std::filesystem;
using bytes = std::vector<std::uint8_t>;

/** What the file holds now. */
inline std::string content(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** A test of what lives on the loop, under the default options. */
class loop_test : public testing::Test {
  protected:
    char* no_arguments[1]{};
    config options{0, no_arguments};
    ev::default_loop loop;
    util::packet_poll sockets;
};

} // namespace vocalink
