// SPDX-License-Identifier: GPL-3.0-or-later
// Which rooms there are and which of them ask for a PIN.
#include "room_list.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vocalink::dialin {

namespace {

constexpr std::size_t longest_name = 64;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_pin(std::string_view pin) {
    return pin.size() <= longest_pin && std::all_of(pin.begin(), pin.end(), is_digit);
}

} // namespace

bool is_room_name(std::string_view name) {
    return !name.empty() && name.size() <= longest_name &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                      std::string_view("-_.+").find(c) != std::string_view::npos;
           });
}

room_list::room_list(const std::string& file) : any(false) {
    std::ifstream input(file);
    if (!input) {
        throw std::runtime_error("cannot read the rooms in " + file);
    }
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        std::istringstream words(line);
        std::string name, pin, rest;
        words >> name >> pin >> rest;
        if (name.empty() || name.front() == '#') {
            continue;
        }
        if (!is_room_name(name) || !is_pin(pin) || !rest.empty()) {
            throw std::runtime_error(file + ':' + std::to_string(number) +
                                     ": no room, or no PIN of at most 32 digits");
        }
        pins[name] = pin;
    }
}

std::optional<std::string> room_list::find(std::string_view name) const {
    if (!is_room_name(name)) {
        return std::nullopt;
    }
    const auto found = pins.find(name);
    if (found != pins.end()) {
        return found->second;
    }
    return any ? std::optional<std::string>("") : std::nullopt;
}

} // namespace vocalink::dialin
