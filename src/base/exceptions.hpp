// SPDX-License-Identifier: GPL-3.0-or-later
// The three ways in which a command fails.
#pragma once

#include <string>
#include <utility>

namespace vocalink {

/** A malformed command, an unknown word, bad arguments. */
struct command_exception {
    explicit command_exception(std::string text) : message(std::move(text)) {}

    std::string message;
};

/** A bridge refused an operation. */
struct bridge_exception {
    explicit bridge_exception(std::string text) : message(std::move(text)) {}

    std::string message;
    std::string id; // empty unless the thrower fills it
};

/** A stream refused an operation. */
struct stream_exception {
    explicit stream_exception(std::string text) : message(std::move(text)) {}

    std::string message;
    std::string id; // empty unless the thrower fills it
};

} // namespace vocalink
