// SPDX-License-Identifier: GPL-3.0-or-later
// How audio moves between the members of a bridge.
#pragma once

#include "streams/stream.hpp"

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace vocalink {

/** The members of a bridge, by id. */
using bridge_members = std::map<std::string, stream*>;

/** What a policy is and does at the moment, in words. */
struct audio_mode {
    std::string_view kind; // that creates its bridges
    std::string_view mode; // "empty", "drain", "relay" or "mix"
};

/** Moves audio between the members of one bridge, which owns this and keeps the membership. Loop
 *  thread only. */
class audio_policy {
  public:
    audio_policy() = default;
    audio_policy(const audio_policy&) = delete;
    audio_policy& operator=(const audio_policy&) = delete;
    virtual ~audio_policy() = default;

    /** The stream has just become a member.
     *  @throws bridge_exception, stream_exception when it cannot take part; it is then no member */
    virtual void joined(stream& member) = 0;
    /** The stream has just ceased to be a member. It may be ending, with its derived part gone: only
     *  the base part of it may be used. */
    virtual void left(stream& member) = 0;

    [[nodiscard]] virtual audio_mode mode() const = 0;
};

/** Makes the policy of a bridge.
 *  @param bridge_id, members  the bridge's; they outlive the policy */
using audio_policy_maker = std::unique_ptr<audio_policy> (*)(const std::string& bridge_id,
                                                             const bridge_members& members);

/** Relay for a pair of one codec, a mix every 30 ms for all else, as `new vocalink` promises. */
[[nodiscard]] std::unique_ptr<audio_policy> make_relay_mix(const std::string& bridge_id,
                                                           const bridge_members& members);

/** A conference: every member is mixed, every 20 ms. */
[[nodiscard]] std::unique_ptr<audio_policy> make_conference(const std::string& bridge_id,
                                                            const bridge_members& members);

} // namespace vocalink
