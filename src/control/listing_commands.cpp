// SPDX-License-Identifier: GPL-3.0-or-later
// Read-only commands.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/listing.hpp"
#include "control/word_table.hpp"
#include "recording/logging_thread.hpp"
#include "recording/rec_mover_thread.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vocalink {

using util::log_line;

namespace {

// Some 50 microseconds of work; a controller may list ten thousand streams in one command.
constexpr int entries_per_step = 25;

/** Answers with a list. @param add  adds the next entry to a text; @return false at the end */
template <class Add>
command_result list_in_steps(Add add) {
    return command_result::in_steps(
        [add, list = std::string("SUCCESS ")]() mutable -> std::optional<std::string> {
            for (int i = 0; i < entries_per_step; ++i) {
                if (!add(list)) {
                    return std::move(list);
                }
            }
            return std::nullopt;
        });
}

/** Logs a table. @param add  adds the next line, its line end first; @return false at the end */
template <class Add>
command_result show_in_steps(Add add) {
    return command_result::in_steps([add]() mutable -> std::optional<std::string> {
        std::string lines;
        bool more = true;
        for (int i = 0; more && i < entries_per_step; ++i) {
            more = add(lines);
        }
        if (!lines.empty()) {
            log_line() << std::string_view(lines).substr(1);
        }
        return more ? std::nullopt : std::optional<std::string>("SUCCESS");
    });
}

command_result list_streams(const owned_objects& owner) {
    return list_in_steps([&owner, begun = false, walk = id_cursor()](std::string& list) mutable {
        stream* const next = walk.next(owner.streams());
        if (next != nullptr) {
            list += begun ? ",(" : "(";
            list += next->list_stream() + ")";
            begun = true;
        }
        return next != nullptr;
    });
}

command_result list_bridges(const owned_objects& owner) {
    return list_in_steps(
        [&owner, begun = false, walk = bridge_walk({})](std::string& list) mutable {
            const bridge_walk::row next = walk.next(owner);
            if (next.begun != nullptr) {
                list += begun ? ")," : "";
                list += util::escape(next.begun->id) + ",(";
                begun = true;
            } else if (next.member != nullptr) {
                list += list.back() == '(' ? "(" : ",(";
                list += next.member->list_stream() + ")";
            } else {
                list += begun ? ")" : "";
            }
            return !next.at_end();
        });
}

command_result show_streams(const owned_objects& owner, word_list& ids) {
    return show_in_steps(
        [&owner, begun = false, walk = named_objects(std::move(ids))](std::string& lines) mutable {
            if (!std::exchange(begun, true)) {
                lines.append("\n").append(stream::table_header);
            }
            stream* const next = walk.next(owner.streams());
            lines += next == nullptr ? "" : next->table_row();
            return next != nullptr;
        });
}

command_result show_bridges(const owned_objects& owner, word_list& ids) {
    return show_in_steps([&owner, walk = bridge_walk(std::move(ids))](std::string& lines) mutable {
        const bridge_walk::row next = walk.next(owner);
        if (next.begun != nullptr) {
            lines += "\n->  BRIDGE " + next.begun->id + " " + std::string(77, '-') + "\n" +
                     stream::table_header;
        } else if (next.member != nullptr) {
            lines += next.member->table_row();
        }
        return !next.at_end();
    });
}

/** One type that "list" and "show" know. */
struct listed_type {
    std::string_view word;
    command_result (*list)(const owned_objects& owner);
    /** @param ids  of those to show; empty for all */
    command_result (*show)(const owned_objects& owner, word_list& ids);
    bool listed = true;
};

constexpr listed_type listed_types[] = {
    {"streams", list_streams, show_streams},
    {"bridges", list_bridges, show_bridges},
};

} // namespace

command_result list_objects(connection& caller, word_list& words) {
    if (words.size() != 1) {
        throw command_exception("list command takes one argument: 'type'");
    }
    const listed_type& type = row_of(listed_types, take_word(words),
                                     {"list: unknown object type", "available types are: ", ", "});
    return type.list(caller.objects);
}

command_result show_objects(connection& caller, word_list& words) {
    if (words.empty()) {
        throw command_exception("show command takes at least one argument: 'type' [id ...]");
    }
    const listed_type& type = row_of(listed_types, take_word(words),
                                     {"show: unknown object type", "available types are: ", ", "});
    return type.show(caller.objects, words);
}

command_result count_queues(connection&, word_list&) {
    return "SUCCESS " + std::to_string(RecMoverThread::instance().get_count()) + " " +
           std::to_string(LoggingThread::instance().get_count());
}

command_result recover(connection&, word_list&) {
    return "RECOVER_OK";
}

} // namespace vocalink
