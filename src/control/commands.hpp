// SPDX-License-Identifier: GPL-3.0-or-later
// The table of commands. A new command is a row here and its handler.
#pragma once

#include "control/command_result.hpp"
#include "control/command_words.hpp"
#include "control/features.hpp"

#include <span>
#include <string_view>

namespace vocalink {

class connection;

/** Runs one command for the controller that sent it.
 *  @param words  those behind the command word
 *  @throws command_exception, bridge_exception, stream_exception  each becomes an error reply */
using command_handler = command_result(connection& caller, word_list& words);

command_handler create_object;              // create_commands.cpp
command_handler delete_object;              // object_commands.cpp
command_handler join_bridge, leave_bridge;  // object_commands.cpp
command_handler set_feature, clear_feature; // feature_commands.cpp
command_handler play_tones;                 // feature_commands.cpp
command_handler start_or_stop_recording;    // recording_command.cpp
command_handler list_objects, show_objects; // listing_commands.cpp
command_handler count_queues, recover;      // listing_commands.cpp
command_handler choose_framing;             // framing_command.cpp
command_handler tell_statistics;            // statistics_command.cpp

struct command {
    std::string_view word;
    command_handler* run;
    /** The features that the fourth word chooses from; null where it is something else. */
    std::span<const feature> (*features)() = nullptr;
};

inline constexpr command command_table[] = {
    {"new", create_object},
    {"delete", delete_object},
    {"join", join_bridge},
    {"leave", leave_bridge},
    {"clear", clear_feature, clearable_features},
    {"set", set_feature, settable_features},
    {"recording", start_or_stop_recording},
    {"list", list_objects},
    {"show", show_objects},
    {"recover", recover},
    {"queue_count", count_queues},
    {"play", play_tones},
    {"framing", choose_framing},
    {"stats", tell_statistics},
};

/** The row of a command word, or null. */
[[nodiscard]] constexpr const command* find_command(std::string_view word) {
    for (const command& row : command_table) {
        if (row.word == word) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace vocalink
