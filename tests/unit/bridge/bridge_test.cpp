// SPDX-License-Identifier: GPL-3.0-or-later
// How a bridge moves audio as members come and go, and who hears whom in its mix.
#include "base/exceptions.hpp"
#include "bridge/bridge.hpp"
#include "streams/conference_leg.hpp"
#include "unit_test.hpp"

namespace vocalink {
namespace {

/** A member that always has a frame and keeps what it is given. */
struct fake_stream : stream {
    using stream::stream;
    int read_incoming_rtp(char* buf, int, bool drain) override {
        reads += buf != nullptr ? '>' : drain ? 'd' : '.';
        return buf != nullptr ? static_cast<int>(id.copy(buf, 1)) : 1;
    }
    int write_outgoing(const char* buf, int len) override {
        sent += buf == nullptr ? "mix" : std::string(buf, static_cast<std::size_t>(len));
        return 1;
    }
    void dump_stats(std::ostream&) override {}
    void dump_detailed_stats(std::ostream&) override {}
    std::string_view kind_word() const override { return "fake_stream"; }
    std::string list_stream() override { return id; }
    std::unique_ptr<conference_leg> make_conference_leg() override;
    void forget_source(std::uint32_t ssrc) override { forgotten = ssrc; }

    using stream::incoming;
    using stream::loop;
    using stream::outgoing;
    using stream::source;
    std::uint32_t forgotten = 0;
    std::string reads; // '>' for one packet, '.' for a cycle, 'd' for a cycle that drains
    std::string sent;
};

const std::string event_packet("\x80\x65\0\1\0\0\3\xC0ssrc\5\x0A\0\0", 16);

/** Speaks and hears the member's frames; a kind_event sends a key. */
struct fake_leg : conference_leg {
    explicit fake_leg(fake_stream& member) : owner(member) {}
    std::optional<tick_view> speak(double) override {
        owner.reads = '.'; // of the last tick, where several catch up
        owner.sent.clear();
        std::copy_n(owner.incoming.begin(), tick_samples, said.begin());
        return owner.get_type() == kind_event ? std::nullopt : std::optional<tick_view>(said);
    }
    std::span<const key_press> keys() override {
        return {&key, owner.get_type() == kind_event ? 1U : 0U};
    }
    bool listens() const override { return owner.get_type() == kind_rtp; }
    void take_key(const key_press&) override { owner.sent += listens() ? event_packet : ""; }
    void hear(const tick_frame& heard, double) override {
        owner.sent += "mix";
        owner.outgoing = {};
        std::copy(heard.begin(), heard.end(), owner.outgoing.begin());
    }

    fake_stream& owner;
    tick_frame said{};
    key_press key{};
};

std::unique_ptr<conference_leg> fake_stream::make_conference_leg() {
    return std::make_unique<fake_leg>(*this);
}

class bridge_test : public loop_test {
  public:
    void note_end(std::string id) { ended += id; }

  protected:
    bridge_test() { ev_now_update(loop.raw_loop); }

    /** The stream of that id; its letter decides on codec and kind. */
    fake_stream& member(const std::string& id) {
        auto& made = all[id];
        if (!made) {
            constexpr const char* encodings[] = {"G711A", "PCMU", "G729", "ILBC30"};
            const stream_kind kind = id == "m" ? kind_event : id == "k" ? kind_sound : kind_rtp;
            made = std::make_unique<fake_stream>(id, encodings[id[0] % 4], kind);
            made->deleted_signal.connect(this, &bridge_test::note_end); // as its connection does
        }
        return *made;
    }

    /** Lets one mixing cycle run. @return whether one came in twice its time */
    bool cycle() {
        for (const auto& [id, each] : all) {
            each->reads.clear();
            each->sent.clear();
        }
        ev::timer end;
        end.set<&bridge_test::ignore>();
        end.start(0.06);
        const auto came = [this] {
            return std::ranges::any_of(all, [](auto& each) { return !each.second->reads.empty(); });
        };
        while (end.is_active() && !came()) {
            loop.run(ev::ONCE);
        }
        return came();
    }
    static void ignore(ev::timer&, int) {}

    /** How audio moves: "mix" where the timer runs, "a>b" where an arrival at a is relayed to b,
     *  "a>" where it is thrown away. */
    std::string mode() {
        std::string text = cycle() ? "mix " : "";
        for (const auto& [id, sender] : all) {
            sender->reads.clear();
            sender->sync_signal.emit(sender.get());
            text += sender->loop ? id + sender->reads : "";
            for (const auto& [other_id, other] : all) {
                text += std::exchange(other->sent, "").ends_with(id) ? other_id + " " : "";
            }
        }
        return text;
    }

    std::string ended;
    std::map<std::string, std::unique_ptr<fake_stream>> all;
    std::unique_ptr<bridge> b = std::make_unique<bridge>("b1");
};

TEST_F(bridge_test, chooses_how_audio_moves_at_every_join_and_leave) {
    const std::pair<std::string, std::string> story[] = {
        {"join e", "e>"},
        {"join a", "a>e e>a "},
        {"join a", "bridge(b1): stream a already exists"},
        {"elsewhere a", "bridge(b2): stream a is already connected to a bridge"},
        {"join f", "mix "}, // another codec
        {"join j", "mix "},
        {"leave a", "mix "},
        {"delete j", "e>f f>e "}, // whatever their codecs
        {"leave e", "f>"},
        {"leave e", "bridge(b1): stream e does not exist, cannot remove"},
        {"join e", "mix "},
        {"delete f", "mix e>"}, // only a leave that makes a pair stops the timer
        {"join a", "mix a>e e>a "}};
    bridge b2("b2");
    for (const auto& [step, expected] : story) {
        const std::string id = step.substr(step.size() - 1);
        try {
            step[0] == 'd'   ? (void)all.erase(id)
            : step[0] == 'l' ? b->remove_stream(id)
                             : (step[0] == 'j' ? *b : b2).add_stream(&member(id));
            EXPECT_EQ(mode(), expected) << step;
            EXPECT_EQ(b->mode().mode, expected == "mix "        ? "mix"
                                      : expected.ends_with('>') ? "drain"
                                                                : "relay")
                << step;
        } catch (const bridge_exception& refusal) {
            EXPECT_EQ(refusal.message, expected) << step;
        }
    }
    b->deleted_signal.connect(this, &bridge_test::note_end);
    b.reset();
    EXPECT_EQ(mode() + ended, "jfb1");
}

TEST_F(bridge_test, relays_what_both_sides_allow_and_reads_the_rest) {
    std::deque<std::string> partner{"x", "e"};
    fake_stream& a = member("a");
    b->add_stream(&a);
    b->add_stream(&member("e"));
    a.set_stream_restricted();
    EXPECT_EQ(mode(), "a>e>a ");
    a.set_stream_targets(partner);
    a.set_stream_selective();
    EXPECT_EQ(mode(), "a>e e>");
    a.set_stream_sources(partner);
    EXPECT_EQ(mode(), "a>e e>a ");
}

TEST_F(bridge_test, a_prompt_that_ends_takes_its_source_with_it) {
    b->add_stream(&member("a"));
    b->add_stream(&member("k"));
    member("k").source = 5;
    b->remove_stream("k");
    EXPECT_EQ(member("a").forgotten, 0U) << "it may come back";
    b->add_stream(&member("k"));
    all.erase("k");
    EXPECT_EQ(member("a").forgotten, 5U);
}

TEST_F(bridge_test, mixes_for_each_member_the_plain_sum_of_those_it_may_hear) {
    std::mt19937 random(2);
    for (unsigned int round = 0; round < 16; ++round) { // no rules at first, many at last
        const bool conference = round % 2 == 1;
        b = std::make_unique<bridge>("b1", conference ? make_conference : make_relay_mix);
        for (const char id : std::string("abcdefghijklm")) {
            b->add_stream(&member(std::string(1, id)));
        }
        for (const auto& [id, each] : all) {
            std::generate(each->incoming.begin(), each->incoming.end(), std::ref(random));
            std::deque<std::string> ids;
            for (const auto& [other_id, other] : all) {
                ids.resize(ids.size() + random() % 2, other_id);
            }
            each->set_stream_targets(ids);
            each->set_stream_sources(ids);
            random() % 16 < round ? each->set_stream_restricted() : each->clear_stream_restricted();
            random() % 16 < round ? each->set_stream_selective() : each->clear_stream_selective();
        }
        std::memcpy(all["m"]->incoming.data(), event_packet.data(), event_packet.size());
        ASSERT_TRUE(cycle());
        EXPECT_EQ(all["a"]->reads, conference ? "." : "d");
        ASSERT_TRUE(cycle());
        for (const auto& [id, listener] : all) {
            SCOPED_TRACE(id + " in round " + std::to_string(round));
            std::string sent;
            std::array<int, max_frame_samples> sum{};
            for (const auto& [other_id, other] : all) {
                if (other == listener || !other->may_be_heard_by(id) ||
                    !listener->wants_to_hear(other_id)) {
                    continue;
                }
                sent = other_id == "m" ? event_packet : sent;
                for (int i = 0; i < (conference ? 160 : listener->frame_samples()); ++i) {
                    sum[i] += other_id == "m" ? 0 : other->incoming.data()[i];
                }
            }
            const bool hears = listener->get_type() == kind_rtp;
            EXPECT_EQ(listener->reads, ".");
            EXPECT_EQ(listener->sent, hears ? sent + "mix" : "");
            EXPECT_TRUE(!hears || std::ranges::equal(listener->outgoing, sum, {}, {}, [](int each) {
                return std::clamp(each, -32768, 32767);
            }));
        }
    }
}

} // namespace
} // namespace vocalink
