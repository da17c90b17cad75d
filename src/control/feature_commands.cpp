// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that use the features of existing streams.
#include "base/exceptions.hpp"
#include "control/command_words.hpp"
#include "control/connection.hpp"
#include "util/base64.hpp"
#include "util/text.hpp"

#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vocalink {

namespace {

constexpr std::size_t key_bytes = 30;
constexpr std::size_t base64_key_length = 40;

/** One feature of a stream: its word, and what the command does with the words behind it. */
struct feature {
    std::string_view word;
    std::string (*apply)(stream& changed, std::deque<std::string>& words);
};

/** Wraps an operation of the stream that cannot fail and takes no words. */
template <void (stream::*Operation)()>
std::string plain(stream& changed, std::deque<std::string>&) {
    (changed.*Operation)();
    return "SUCCESS";
}

/** Wraps an operation of the stream that takes all words. */
template <void (stream::*Operation)(std::deque<std::string>&)>
std::string listed(stream& changed, std::deque<std::string>& words) {
    (changed.*Operation)(words);
    return "SUCCESS";
}

/** The id and the feature that begin a "set" or "clear" command, the feature checked, the id not
 *  looked up. */
struct feature_choice {
    std::string id;
    const feature* chosen;
};

/** @throws command_exception for a type or a feature that is none */
feature_choice take_feature(const char* command, std::deque<std::string>& words,
                            std::span<const feature> known) {
    if (words.size() < 3) {
        throw command_exception(util::format("%s command takes at least 3 arguements: "
                                             "'type id feature [value [value ...]]'",
                                             command));
    }
    const std::string type = take_word(words);
    std::string id = take_word(words);
    const std::string word = take_word(words);
    if (type != "stream") {
        throw command_exception(util::format(
            "%s: unknown object type '%s', available types are: stream", command, type.c_str()));
    }
    std::string list;
    for (const feature& candidate : known) {
        if (word == candidate.word) {
            return {std::move(id), &candidate};
        }
        list.append(" ").append(candidate.word);
    }
    throw command_exception(util::format("%s: unknown feature type '%s', available types are:%s",
                                         command, word.c_str(), list.c_str()));
}

/** The 30 bytes of a key given raw or in base64, or nothing. */
std::optional<std::string> key_material(const std::string& word) {
    std::string key = word.size() == base64_key_length ? base64_decode(word) : word;
    if (key.size() != key_bytes) {
        return std::nullopt;
    }
    return key;
}

const unsigned char* octets(const std::string& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

std::string set_endpoint(stream& changed, std::deque<std::string>& words) {
    if (words.size() != 2) {
        return "ERROR invalid endpoint";
    }
    changed.set_stream_endpoint(words[0], std::atoi(words[1].c_str()));
    return "SUCCESS";
}

std::string set_encryption(stream& changed, std::deque<std::string>& words) {
    if (words.size() != 2) {
        return "ERROR encryption parameter requires two arguments: send_key receive_key";
    }
    const auto send_key = key_material(words[0]);
    if (!send_key) {
        return "ERROR send_key must be 30 (raw) or 40 (base64) characters in length";
    }
    const auto receive_key = key_material(words[1]);
    if (!receive_key) {
        return "ERROR receive_key must be 30 (raw) or 40 (base64) characters in length";
    }
    changed.set_stream_encryption(octets(*send_key), octets(*receive_key));
    return "SUCCESS";
}

constexpr feature settable[] = {
    {"targets", listed<&stream::set_stream_targets>},
    {"restricted", plain<&stream::set_stream_restricted>},
    {"sources", listed<&stream::set_stream_sources>},
    {"selective", plain<&stream::set_stream_selective>},
    {"endpoint", set_endpoint},
    {"encryption", set_encryption},
};

constexpr feature clearable[] = {
    {"targets", plain<&stream::clear_stream_targets>},
    {"restricted", plain<&stream::clear_stream_restricted>},
    {"sources", plain<&stream::clear_stream_sources>},
    {"selective", plain<&stream::clear_stream_selective>},
};

} // namespace

std::string connection::_set(words& arguments) {
    const feature_choice choice = take_feature("set", arguments, settable);
    stream* const changed = find_stream(choice.id);
    return changed == nullptr ? no_such_stream : choice.chosen->apply(*changed, arguments);
}

std::string connection::_clear(words& arguments) {
    const feature_choice choice = take_feature("clear", arguments, clearable);
    stream* const changed = find_stream(choice.id);
    return changed == nullptr ? no_such_stream : choice.chosen->apply(*changed, arguments);
}

std::string connection::_play(words& arguments) {
    constexpr const char* too_few = "play command takes at least two arguments: 'type id'";
    if (arguments.size() < 2) {
        throw command_exception(too_few);
    }
    const std::string type = take_word(arguments);
    const std::string id = take_word(arguments);
    if (type != "tone") {
        throw command_exception("play type must be TONE");
    }
    stream* const player = find_stream(id);
    if (player == nullptr) {
        throw command_exception("unknown stream");
    }
    if (arguments.empty()) {
        throw command_exception(too_few);
    }
    player->put_tones(take_word(arguments));
    return "SUCCESS";
}

} // namespace vocalink
