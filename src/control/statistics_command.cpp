// SPDX-License-Identifier: GPL-3.0-or-later
// The command that tells the figures of one stream.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/word_table.hpp"

#include <sstream>

namespace vocalink {

command_result tell_statistics(connection& caller, word_list& words) {
    if (words.size() != 2) {
        throw command_exception("stats command takes two arguments: 'type id'");
    }
    const std::string type = take_word(words);
    if (type != "stream") {
        throw unknown_word("stats: unknown object type", type, ", available types are: stream");
    }
    const stream* const target = caller.objects.find_stream(take_word(words));
    if (target == nullptr) {
        return no_such_stream;
    }
    std::ostringstream reply;
    reply << "SUCCESS";
    target->output_packet_counts(reply);
    target->output_line_stats(reply);
    return reply.str();
}

} // namespace vocalink
