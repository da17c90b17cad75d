// SPDX-License-Identifier: GPL-3.0-or-later
// Text forms of IPv4 addresses.
#include "util/inet_text.hpp"

#include <array>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>

namespace vocalink::util {

std::string inetTranslateIp(in_addr address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    if (inet_ntop(AF_INET, &address, text.data(), text.size()) == nullptr) {
        return "NTOP_FAILED";
    }
    return text.data();
}

std::string endpoint_text(const sockaddr_in& address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    if (inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) == nullptr) {
        return std::string("error( ") + std::strerror(errno) + ")";
    }
    return std::string(text.data()) + ":" + std::to_string(ntohs(address.sin_port));
}

bool parse_ipv4(const std::string& text, in_addr& address) {
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

} // namespace vocalink::util

std::ostream& operator<<(std::ostream& os, in_addr address) {
    return os << vocalink::util::inetTranslateIp(address);
}

std::ostream& operator<<(std::ostream& os, const sockaddr_in& address) {
    return os << vocalink::util::endpoint_text(address);
}
