// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that only tell.
#include "base/exceptions.hpp"
#include "control/command_words.hpp"
#include "control/connection.hpp"
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
void show_each(const std::map<std::string, Object*>& objects, const std::deque<std::string>& ids,
               Show show) {
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

} // namespace

std::string connection::_list(words& arguments) {
    if (arguments.size() != 1) {
        throw command_exception("list command takes one argument: 'type'");
    }
    const std::string type = take_word(arguments);
    if (type == "streams") {
        return list_streams();
    }
    if (type == "bridges") {
        return list_bridges();
    }
    throw command_exception(util::format(
        "list: unknown object type '%s', available types are: streams, bridges", type.c_str()));
}

std::string connection::list_streams() const {
    std::string list;
    for (const auto& [id, listed] : streams) {
        list += list.empty() ? "(" : ",(";
        list += listed->list_stream() + ")";
    }
    return "SUCCESS " + list;
}

std::string connection::list_bridges() const {
    std::string list;
    for (const auto& [id, listed] : bridges) {
        list += list.empty() ? "" : ",";
        list += util::escape(id) + ",(" + listed->list_streams() + ")";
    }
    return "SUCCESS " + list;
}

std::string connection::_show(words& arguments) {
    if (arguments.empty()) {
        throw command_exception("show command takes at least one argument: 'type' [id ...]");
    }
    const std::string type = take_word(arguments);
    if (type == "streams") {
        show_streams(arguments);
    } else if (type == "bridges") {
        show_bridges(arguments);
    } else {
        throw command_exception(util::format(
            "show: unknown object type '%s', available types are: streams, bridges", type.c_str()));
    }
    return "SUCCESS";
}

void connection::show_streams(const words& ids) const {
    std::string table = stream::table_header;
    show_each(streams, ids, [&table](stream& shown) { table += shown.table_row(); });
    log_line() << table;
}

void connection::show_bridges(const words& ids) const {
    show_each(bridges, ids, [](const bridge& shown) {
        log_line() << "->  BRIDGE " << shown.id << " " << std::string(77, '-');
        shown.show_streams();
    });
}

std::string connection::_queue_count(words&) {
    return "SUCCESS " + std::to_string(RecMoverThread::instance().get_count()) + " " +
           std::to_string(LoggingThread::instance().get_count());
}

} // namespace vocalink
