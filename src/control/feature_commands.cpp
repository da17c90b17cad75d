// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that use the features of existing streams.
#include "control/command_words.hpp"
#include "control/connection.hpp"
#include "util/base64.hpp"
#include "util/exceptions.hpp"
#include "util/text.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace vocalink {

namespace {

constexpr std::size_t key_bytes = 30;
constexpr std::size_t base64_key_length = 40;

/** The first words of "set" and "clear": which feature of which stream. */
struct feature_words {
    std::string id;
    std::string feature;
};

/** Takes and checks them; the id is not looked up.
 *  @throws command_exception */
template <std::size_t Count>
feature_words take_feature(const char* command, std::deque<std::string>& words,
                           const std::array<std::string_view, Count>& known) {
    if (words.size() < 3) {
        throw command_exception(util::format("%s command takes at least 3 arguements: "
                                             "'type id feature [value [value ...]]'",
                                             command));
    }
    const std::string type = take_word(words);
    feature_words taken;
    taken.id = take_word(words);
    taken.feature = take_word(words);
    if (type != "stream") {
        throw command_exception(util::format(
            "%s: unknown object type '%s', available types are: stream", command, type.c_str()));
    }
    if (std::find(known.begin(), known.end(), taken.feature) == known.end()) {
        std::string list;
        for (const std::string_view feature : known) {
            list.append(" ").append(feature);
        }
        throw command_exception(
            util::format("%s: unknown feature type '%s', available types are:%s", command,
                         taken.feature.c_str(), list.c_str()));
    }
    return taken;
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

std::string set_endpoint(stream& changed, const std::deque<std::string>& words) {
    if (words.size() != 2) {
        return "ERROR invalid endpoint";
    }
    changed.set_stream_endpoint(words[0], std::atoi(words[1].c_str()));
    return "SUCCESS";
}

std::string set_encryption(stream& changed, const std::deque<std::string>& words) {
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

} // namespace

std::string connection::_set(words& arguments) {
    static constexpr std::array<std::string_view, 6> features = {
        "targets", "restricted", "sources", "selective", "endpoint", "encryption"};
    const auto [id, feature] = take_feature("set", arguments, features);
    stream* const changed = find_stream(id);
    if (changed == nullptr) {
        return no_such_stream;
    }
    if (feature == "targets") {
        changed->set_stream_targets(arguments);
    } else if (feature == "restricted") {
        changed->set_stream_restricted();
    } else if (feature == "sources") {
        changed->set_stream_sources(arguments);
    } else if (feature == "selective") {
        changed->set_stream_selective();
    } else if (feature == "endpoint") {
        return set_endpoint(*changed, arguments);
    } else if (feature == "encryption") {
        return set_encryption(*changed, arguments);
    } else {
        return "ERROR Unknown feature type";
    }
    return "SUCCESS";
}

std::string connection::_clear(words& arguments) {
    static constexpr std::array<std::string_view, 4> features = {"targets", "restricted", "sources",
                                                                 "selective"};
    const auto [id, feature] = take_feature("clear", arguments, features);
    stream* const changed = find_stream(id);
    if (changed == nullptr) {
        return no_such_stream;
    }
    if (feature == "targets") {
        changed->clear_stream_targets();
    } else if (feature == "restricted") {
        changed->clear_stream_restricted();
    } else if (feature == "sources") {
        changed->clear_stream_sources();
    } else if (feature == "selective") {
        changed->clear_stream_selective();
    } else {
        return "ERROR Unknown feature type";
    }
    return "SUCCESS";
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
