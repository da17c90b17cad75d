// SPDX-License-Identifier: GPL-3.0-or-later
// The features of streams that "set" and "clear" name. A new feature is a row in feature_commands.cpp.
#pragma once

#include "control/command_result.hpp"
#include "control/command_words.hpp"

#include <span>
#include <string_view>

namespace vocalink {

class stream;

struct feature {
    std::string_view word;
    /** Changes the stream. @param values  the words behind the feature */
    command_result (*apply)(stream& target, word_list& values);
    bool listed = true;  // in the text that answers an unknown feature
    bool secret = false; // the log hides the values
};

/** What "set" can name, and what "clear" can. */
[[nodiscard]] std::span<const feature> settable_features();
[[nodiscard]] std::span<const feature> clearable_features();

} // namespace vocalink
