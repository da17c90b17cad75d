// SPDX-License-Identifier: GPL-3.0-or-later
// The command line.
#include "options.hpp"

#include <array>
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include <arpa/inet.h>
#include <getopt.h>

namespace vocalink::dialin {

namespace {

constexpr const char* usage =
    "usage: vocalink-dialin -s SOCKET -b ADDRESS[:PORT] [-o OPTION[,OPTION...]]\n"
    "  -s, --socket SOCKET        control socket of the daemon\n"
    "  -b, --bind ADDRESS[:PORT]  where SIP calls are answered, UDP and TCP; port 5060\n"
    "      --rooms FILE           rooms that there are, one a line, each with its PIN if any\n"
    "      --media-same           send media only to the address that the call came from\n"
    "      --accept-register      answer REGISTER with 200, for softphones that insist; no more\n"
    "      --silence SECONDS      hang up a caller without media; 60\n"
    "      --calls NUMBER         most calls at once; 4000\n"
    "      --metrics FILE         counters in the Prometheus text format, every 5 s\n"
    "      --sounds FOLDER        prompts and tones\n"
    "  -o OPTIONS                 the same: -o rooms=FILE,media-same,calls=100\n"
    "  -h, --help   -V, --version\n";

std::size_t number(std::string_view name, std::string_view text, std::size_t most) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value == 0 || value > most) {
        throw std::runtime_error(std::string(name) + " takes a number from 1 to " +
                                 std::to_string(most));
    }
    return value;
}

void bind_to(options& result, const std::string& text) {
    const std::size_t colon = text.find(':');
    result.address = text.substr(0, colon);
    if (colon != std::string::npos) {
        result.port = std::to_string(number("the port", text.substr(colon + 1), 65'535));
    }
    in_addr address{};
    if (::inet_pton(AF_INET, result.address.c_str(), &address) != 1) {
        throw std::runtime_error("no IPv4 address: " + result.address);
    }
    // Telephones on this machine alone: a front end on loopback is reached from nowhere else.
    result.addresses.loopback = ntohl(address.s_addr) >> 24 == 127;
}

void set(options& result, const std::string& name, const std::string& value) {
    if (name == "rooms") {
        result.rooms = value;
    } else if (name == "metrics") {
        result.metrics = value;
    } else if (name == "sounds") {
        result.sounds = value;
    } else if (name == "media-same") {
        result.addresses.only_the_same = true;
    } else if (name == "accept-register") {
        result.accepts_registers = true;
    } else if (name == "silence") {
        result.silence = std::chrono::seconds(number(name, value, 86'400));
    } else if (name == "calls") {
        result.most_calls = number(name, value, 29'000);
    } else {
        throw std::runtime_error("unknown option " + name);
    }
}

void set_list(options& result, std::string_view list) {
    while (!list.empty()) {
        const std::string_view entry = list.substr(0, list.find(','));
        const std::size_t equals = entry.find('=');
        set(result, std::string(entry.substr(0, equals)),
            equals == std::string_view::npos ? "" : std::string(entry.substr(equals + 1)));
        list.remove_prefix(std::min(list.size(), entry.size() + 1));
    }
}

constexpr std::array<option, 12> long_options{{{"socket", required_argument, nullptr, 's'},
                                               {"bind", required_argument, nullptr, 'b'},
                                               {"rooms", required_argument, nullptr, 0},
                                               {"media-same", no_argument, nullptr, 0},
                                               {"accept-register", no_argument, nullptr, 0},
                                               {"silence", required_argument, nullptr, 0},
                                               {"calls", required_argument, nullptr, 0},
                                               {"metrics", required_argument, nullptr, 0},
                                               {"sounds", required_argument, nullptr, 0},
                                               {"help", no_argument, nullptr, 'h'},
                                               {"version", no_argument, nullptr, 'V'},
                                               {nullptr, 0, nullptr, 0}}};

} // namespace

std::optional<options> read_options(int argc, char** argv) {
    options result;
    int index = 0;
    for (int letter;
         (letter = ::getopt_long(argc, argv, "s:b:o:hV", long_options.data(), &index)) != -1;) {
        switch (letter) {
        case 's':
            result.socket = optarg;
            break;
        case 'b':
            bind_to(result, optarg);
            break;
        case 'o':
            set_list(result, optarg);
            break;
        case 0:
            set(result, long_options[static_cast<std::size_t>(index)].name,
                optarg != nullptr ? optarg : "");
            break;
        case 'h':
            std::fputs(usage, stdout);
            return std::nullopt;
        case 'V':
            std::puts("vocalink-dialin " VOCALINK_VERSION);
            return std::nullopt;
        default:
            throw std::runtime_error("see vocalink-dialin --help");
        }
    }
    if (result.socket.empty() || result.address.empty() || optind != argc) {
        throw std::runtime_error("-s SOCKET and -b ADDRESS are needed, see --help");
    }
    return result;
}

} // namespace vocalink::dialin
