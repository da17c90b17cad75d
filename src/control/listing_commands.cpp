// SPDX-License-Identifier: GPL-3.0-or-later
// Read-only commands.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/word_table.hpp"
#include "recording/logging_thread.hpp"
#include "recording/rec_mover_thread.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

namespace vocalink {

using util::log_line;

namespace {

/** Calls show for the object of each id, in the order given, or for all when no id is given;
 *  unknown ids are passed over. */
template <class Object, class Show>
void show_each(const std::map<std::string, Object*>& objects, const word_list& ids, Show show) {
    for (const std::string& id : ids) {
        if (const auto found = objects.find(id); found != objects.end()) {
            show(*found->second);
        }
    }
    if (ids.empty()) {
        for (const auto& [id, object] : objects) {
            show(*object);
        }
    }
}

std::string list_streams(const owned_objects& owner) {
    std::string list;
    for (const auto& [id, listed] : owner.streams()) {
        list += list.empty() ? "(" : ",(";
        list += listed->list_stream() + ")";
    }
    return "SUCCESS " + list;
}

std::string list_bridges(const owned_objects& owner) {
    std::string list;
    for (const auto& [id, listed] : owner.bridges()) {
        list += list.empty() ? "" : ",";
        list += util::escape(id) + ",(" + listed->list_streams() + ")";
    }
    return "SUCCESS " + list;
}

void show_streams(const owned_objects& owner, const word_list& ids) {
    std::string table = stream::table_header;
    show_each(owner.streams(), ids, [&table](stream& shown) { table += shown.table_row(); });
    log_line() << table;
}

void show_bridges(const owned_objects& owner, const word_list& ids) {
    show_each(owner.bridges(), ids, [](const bridge& shown) {
        log_line() << "->  BRIDGE " << shown.id << " " << std::string(77, '-');
        shown.show_streams();
    });
}

/** One type that "list" and "show" know. */
struct listed_type {
    std::string_view word;
    std::string (*list)(const owned_objects& owner);
    void (*show)(const owned_objects& owner, const word_list& ids);
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
    type.show(caller.objects, words);
    return "SUCCESS";
}

command_result count_queues(connection&, word_list&) {
    return "SUCCESS " + std::to_string(RecMoverThread::instance().get_count()) + " " +
           std::to_string(LoggingThread::instance().get_count());
}

command_result recover(connection&, word_list&) {
    return "RECOVER_OK";
}

} // namespace vocalink
