// SPDX-License-Identifier: GPL-3.0-or-later
// The command line.
#pragma once

#include "media_offer.hpp"

#include <chrono>
#include <optional>
#include <string>

namespace vocalink::dialin {

/** What the operator has asked for. */
struct options {
    std::string socket;  ///< of the daemon
    std::string address; ///< where SIP is answered, dotted
    std::string port = "5060";
    std::string rooms;                           ///< file, empty for any room
    std::string metrics;                         ///< file, empty for none
    std::string sounds = VOCALINK_DIALIN_SOUNDS; ///< folder of the prompts and tones
    std::chrono::seconds silence{60};            ///< without media, then a caller is hung up
    std::size_t most_calls = 4000;
    address_policy addresses{false, false};
    bool accepts_registers = false; ///< answers REGISTER, and keeps nothing
};

/** Reads the command line. Writes what --help and --version say to standard output.
 *  @return nothing when the process is done with that
 *  @throws std::runtime_error saying what is wrong */
[[nodiscard]] std::optional<options> read_options(int argc, char** argv);

} // namespace vocalink::dialin
