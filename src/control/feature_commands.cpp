// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that use the features of existing streams.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/word_table.hpp"
#include "util/base64.hpp"

#include <charconv>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vocalink {

namespace {

constexpr std::size_t key_bytes = 30;
constexpr std::size_t base64_key_length = 40;

/** Wraps an operation of the stream that cannot fail and takes no words. */
template <void (stream::*Operation)()>
command_result plain(stream& target, word_list&) {
    (target.*Operation)();
    return "SUCCESS";
}

/** Wraps an operation of the stream that takes all words. */
template <void (stream::*Operation)(word_list&)>
command_result with_words(stream& target, word_list& words) {
    (target.*Operation)(words);
    return "SUCCESS";
}

/** Decodes a key from 30 raw or 40 base64 characters. @return its 30 bytes, or nothing */
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

command_result set_endpoint(stream& target, word_list& words) {
    if (words.size() != 2) {
        return "ERROR invalid endpoint";
    }
    target.set_stream_endpoint(words[0], endpoint_port(words[1]));
    return "SUCCESS";
}

command_result set_encryption(stream& target, word_list& words) {
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
    target.set_stream_encryption(octets(*send_key), octets(*receive_key));
    return "SUCCESS";
}

/** Parses a dynamic payload type, 96 to 127 (RFC 3551 3). @return nothing for other words */
std::optional<int> dynamic_payload_type(const word_list& words) {
    constexpr int first_dynamic = 96;
    constexpr int last_dynamic = 127;
    if (words.size() != 1) {
        return std::nullopt;
    }
    int type = 0;
    const char* const end = words[0].data() + words[0].size();
    const auto [stop, error] = std::from_chars(words[0].data(), end, type);
    if (error != std::errc{} || stop != end || type < first_dynamic || type > last_dynamic) {
        return std::nullopt;
    }
    return type;
}

/** Wraps an operation of the stream that takes a dynamic payload type. */
template <void (stream::*Operation)(int)>
command_result with_payload_type(stream& target, word_list& words) {
    const std::optional<int> type = dynamic_payload_type(words);
    if (!type) {
        return "ERROR invalid payload type";
    }
    (target.*Operation)(*type);
    return "SUCCESS";
}

constexpr feature settable[] = {
    {"targets", with_words<&stream::set_stream_targets>},
    {"restricted", plain<&stream::set_stream_restricted>},
    {"sources", with_words<&stream::set_stream_sources>},
    {"selective", plain<&stream::set_stream_selective>},
    {"endpoint", set_endpoint},
    {.word = "encryption", .apply = set_encryption, .secret = true},
    {"payload", with_payload_type<&stream::set_stream_payload>, false},
    {"events", with_payload_type<&stream::set_stream_events>, false},
};

constexpr feature clearable[] = {
    {"targets", plain<&stream::clear_stream_targets>},
    {"restricted", plain<&stream::clear_stream_restricted>},
    {"sources", plain<&stream::clear_stream_sources>},
    {"selective", plain<&stream::clear_stream_selective>},
};

/** Runs "set" or "clear". Type and feature are checked before the stream is looked up. */
command_result change_feature(const std::string& command, std::span<const feature> features,
                              connection& caller, word_list& words) {
    if (words.size() < 3) {
        // Deliberate: docs/behaviours.md#wrong-type-in-an-error
        throw command_exception(command + " command takes at least 3 arguements: "
                                          "'type id feature [value [value ...]]'");
    }
    const std::string type = take_word(words);
    const std::string id = take_word(words);
    if (type != "stream") {
        throw unknown_word(command + ": unknown object type", type,
                           ", available types are: stream");
    }
    const std::string unknown = command + ": unknown feature type";
    const feature& chosen =
        row_of(features, take_word(words), {unknown.c_str(), "available types are: ", " "});
    stream* const target = caller.objects.find_stream(id);
    return target == nullptr ? no_such_stream : chosen.apply(*target, words);
}

} // namespace

std::span<const feature> settable_features() {
    return settable;
}

std::span<const feature> clearable_features() {
    return clearable;
}

command_result set_feature(connection& caller, word_list& words) {
    return change_feature("set", settable, caller, words);
}

command_result clear_feature(connection& caller, word_list& words) {
    return change_feature("clear", clearable, caller, words);
}

command_result play_tones(connection& caller, word_list& words) {
    constexpr const char* too_few = "play command takes at least two arguments: 'type id'";
    if (words.size() < 2) {
        throw command_exception(too_few);
    }
    const std::string type = take_word(words);
    const std::string id = take_word(words);
    if (type != "tone") { // Deliberate: docs/behaviours.md#wrong-type-in-an-error
        throw command_exception("play type must be TONE");
    }
    stream* const player = caller.objects.find_stream(id);
    if (player == nullptr) {
        throw command_exception("unknown stream");
    }
    if (words.empty()) {
        throw command_exception(too_few);
    }
    player->put_tones(take_word(words));
    return "SUCCESS";
}

} // namespace vocalink
