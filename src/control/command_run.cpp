// SPDX-License-Identifier: GPL-3.0-or-later
// One command from its line to its reply.
#include "control/command_run.hpp"

#include "base/exceptions.hpp"
#include "control/connection.hpp"
#include "control/word_table.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <exception>
#include <new>
#include <string_view>
#include <utility>

namespace vocalink {

using util::log_line;

namespace {

constexpr std::size_t longest_logged = 16384;

std::array<long long, command_outcome_count> outcomes{};

command_outcome outcome_of(std::string_view reply) {
    constexpr std::pair<std::string_view, command_outcome> beginnings[] = {
        {"ERROR COMMAND_ERROR ", outcome_command_error},
        {"ERROR STREAM_ERROR ", outcome_stream_error},
        {"ERROR BRIDGE_ERROR ", outcome_bridge_error},
        {"ERROR ", outcome_refused}};
    for (const auto& [beginning, outcome] : beginnings) {
        if (reply.starts_with(beginning)) {
            return outcome;
        }
    }
    return outcome_success;
}

word_list words_of(const std::string& line) {
    word_list words;
    util::parse_args(line, words, '\0');
    return words;
}

} // namespace

const std::array<long long, command_outcome_count>& command_outcomes() {
    return outcomes;
}

command_result run_from_table(connection& caller, word_list& words) {
    if (words.empty()) {
        throw command_exception("commands must be in the format 'operation [args]'");
    }
    const std::string operation = take_word(words);
    const command* const row = find_command(operation);
    if (row == nullptr) {
        throw unknown_word("unknown command", operation);
    }
    return row->run(caller, words);
}

command_run::command_run(connection& sender, const command_line& line, command_handler* handler)
    : caller(sender), run(handler), tag(line.tag), words(words_of(line.text)), mask(words) {
    log_line() << "<- tolvey connection(" << caller.name << "): " << tag
               << mask.line(line.text).substr(0, longest_logged);
}

command_run::~command_run() {
    if (awaited) {
        awaited->abandoned = true;
        awaited->finished.disconnect(&caller, &connection::handle_finished_reply);
        if (awaited->undo) {
            awaited->undo();
        }
    }
}

std::optional<std::string> command_run::proceed() {
    std::optional<std::string> reply;
    std::string logged;
    try {
        reply = next_part();
        if (!reply) {
            return std::nullopt;
        }
    } catch (const unknown_word& failure) {
        reply = "ERROR COMMAND_ERROR " + failure.message;
        logged = mask.hides(failure.word) ? "ERROR COMMAND_ERROR " + failure.masked : *reply;
    } catch (const command_exception& failure) {
        reply = "ERROR COMMAND_ERROR " + failure.message;
    } catch (const bridge_exception& failure) {
        // Deliberate: docs/behaviours.md#stream-in-the-log
        log_line("stream", failure.id) << mask.reply(failure.message);
        reply = "ERROR BRIDGE_ERROR " + failure.message;
    } catch (const stream_exception& failure) {
        log_line("stream", failure.id) << mask.reply(failure.message);
        reply = "ERROR STREAM_ERROR " + failure.message;
    } catch (const std::bad_alloc&) {
        reply = out_of_memory;
    } catch (const std::exception& failure) {
        reply = std::string("ERROR COMMAND_ERROR ") + failure.what();
    }
    outcomes[outcome_of(*reply)] += 1;
    log_line() << "-> connection(" << caller.name << "): " << tag
               << mask.reply(logged.empty() ? *reply : logged);
    return tag + *reply + "\n";
}

/** @return the reply, or nothing while the command goes on or waits */
std::optional<std::string> command_run::next_part() {
    if (next_step) {
        return next_step();
    }
    if (!awaited) {
        return accept(run(caller, words));
    }
    if (!awaited->rest) {
        return std::nullopt;
    }
    const auto rest = std::exchange(awaited->rest, nullptr);
    awaited->finished.disconnect(&caller, &connection::handle_finished_reply);
    awaited.reset();
    return accept(rest(caller.objects));
}

/** Stores the next step or the pending reply. @return the reply, if the command is done */
std::optional<std::string> command_run::accept(command_result result) {
    if (auto* const reply = std::get_if<std::string>(&result.outcome)) {
        return std::move(*reply);
    }
    if (auto* const step = std::get_if<command_result::step>(&result.outcome)) {
        next_step = std::move(*step);
        return next_step();
    }
    awaited = std::get<std::shared_ptr<pending_reply>>(std::move(result.outcome));
    awaited->finished.connect(&caller, &connection::handle_finished_reply);
    return std::nullopt;
}

} // namespace vocalink
