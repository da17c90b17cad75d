// SPDX-License-Identifier: GPL-3.0-or-later
// What the fuzzer hands to a target, taken piece by piece from the front.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>

namespace vocalink::fuzz {

/** The bytes of one run. An input that is used up gives zeros and empty pieces. */
class input {
  public:
    input(const std::uint8_t* data, std::size_t size) : left(data, size) {}

    [[nodiscard]] bool empty() const { return left.empty(); }

    /** At most that many bytes; they live as long as the fuzzer's. */
    std::span<const std::uint8_t> bytes(std::size_t most) {
        const auto taken = left.first(std::min(most, left.size()));
        left = left.subspan(taken.size());
        return taken;
    }

    std::string text(std::size_t most) {
        const auto taken = bytes(most);
        return {taken.begin(), taken.end()};
    }

    /** A number, its lowest byte first. */
    template <class Number>
    Number number() {
        std::make_unsigned_t<Number> value = 0;
        int shift = 0;
        for (const std::uint8_t byte : bytes(sizeof value)) {
            value =
                static_cast<decltype(value)>(value | static_cast<decltype(value)>(byte) << shift);
            shift += 8;
        }
        return static_cast<Number>(value);
    }

    std::uint8_t byte() { return number<std::uint8_t>(); }

    /** One of the choices. */
    template <class Choices>
    auto one_of(const Choices& choices) {
        return choices[byte() % std::size(choices)];
    }

  private:
    std::span<const std::uint8_t> left;
};

} // namespace vocalink::fuzz
