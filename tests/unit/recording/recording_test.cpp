// SPDX-License-Identifier: GPL-3.0-or-later
// pcap headers and the queue of the workers; packets through both workers into files.
#include "audio/codec.hpp"
#include "recording/logging_thread.hpp"
#include "recording/move_file.hpp"
#include "recording/pcap.hpp"
#include "recording/rec_mover_thread.hpp"
#include "recording/recording.hpp"
#include "recording/wav.hpp"
#include "recording/wav_recording.hpp"
#include "unit_test.hpp"
#include "util/loop_calls.hpp"

#include <arpa/inet.h>
#include <unistd.h>

namespace vocalink {
namespace {

using util::MsgQueueThread;

TEST(recording_pcap, header_is_exact_to_the_byte_and_counts_its_packets) {
    pkt_hdr_pcap headers({AF_INET, htons(5004), {::inet_addr("10.0.0.1")}, {}},
                         {AF_INET, htons(6000), {::inet_addr("192.168.1.2")}, {}});
    const auto first = headers.stamp(0x5E0BE100, 999'999, 172);
    // The checksum by hand: 4500 + 00C8 + 0001 + 7F11 + 0A00 + 0001 + C0A8 + 0102 = 19085.
    const unsigned char expected[] = {0x00, 0xE1, 0x0B, 0x5E, 0x3F, 0x42, 0x0F, 0x00, 0xCC, 0x00,
                                      0x00, 0x00, 0xCC, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
                                      0x45, 0x00, 0x00, 0xC8, 0x00, 0x01, 0x00, 0x00, 0x7F, 0x11,
                                      0x6F, 0x79, 0x0A, 0x00, 0x00, 0x01, 0xC0, 0xA8, 0x01, 0x02,
                                      0x13, 0x8C, 0x17, 0x70, 0x00, 0xB4, 0x00, 0x00};
    EXPECT_EQ(std::memcmp(first.data(), expected, sizeof expected), 0);
    for (int i = 0; i < 65535; ++i) {
        (void)headers.stamp(0x5E0BE100, 999'999, 172);
    }
    EXPECT_EQ(headers.stamp(0x5E0BE100, 999'999, 172), first) << "once round";
    // The example of RFC 1071 3, an odd byte, and a carry out of a carry.
    EXPECT_EQ(iphdr_cksum("\x00\x01\xF2\x03\xF4\xF5\xF6\xF7", 8), 0x0D22);
    EXPECT_EQ(iphdr_cksum("\x01\x02\x03", 3), 0xFDFB);
    EXPECT_EQ(iphdr_cksum("\xFF\xFF\xFF\xFF\x01", 6), 0xFFFE);
}

TEST(recording_move, takes_names_as_they_are_and_overwrites_nothing) {
    const harness::temporary_directory directory;
    const fs::path elsewhere = "/dev/shm/vl-move-" + std::to_string(::getpid()); // a memory disk
    fs::create_directory(elsewhere);
    const fs::path before = fs::current_path();
    fs::current_path(directory.path()); // so that a name can begin with a hyphen
    for (const std::string& name :
         {std::string("-f"), std::string("a  b"), std::string("'\"\\;$(touch x)`touch x`&"),
          std::string(254, 'n')}) {
        for (const std::string& target : {"-" + name, (elsewhere / name).string()}) {
            std::ofstream(name) << name;
            EXPECT_EQ(move_file(name, target), 0);
            EXPECT_EQ(content(target), name);
            std::ofstream(name) << "other";
            EXPECT_EQ(move_file(name, target), EEXIST);
            EXPECT_EQ(content(target), name);
        }
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(elsewhere), {}), 4) << "no other names";
    fs::remove_all(elsewhere);
    EXPECT_EQ(move_file("missing", "x"), ENOENT);
    EXPECT_FALSE(fs::exists("x"));
    fs::current_path(before);
}

std::atomic<int> alive = 0; // requests

struct numbered_request : ProcessRequest {
    explicit numbered_request(int number) : ProcessRequest(number) { ++alive; }
    ~numbered_request() override { --alive; }
};

struct numbering_worker : MsgQueueThread {
    numbering_worker() : MsgQueueThread("numbering") {}
    void handle_request(ProcessRequest* request) override {
        handled.push_back(request->type);
        fewest_waiting = std::min(fewest_waiting, get_count());
    }

    std::vector<int> handled;
    int fewest_waiting = 1000; // while a request was handled
};

TEST(recording_worker, finishes_the_batch_of_a_stop_and_deletes_what_comes_later) {
    const ev::default_loop loop;
    std::optional<numbering_worker> worker(std::in_place);
    worker->queue(new numbered_request(1));
    worker->stop();
    worker->queue(new numbered_request(2));
    worker->start();
    worker->join();
    EXPECT_EQ(worker->handled, (std::vector{1, 2}));
    EXPECT_EQ(worker->fewest_waiting, 3) << "counted down before the batch was through";
    EXPECT_EQ(worker->get_count() + alive, 0);
    worker->queue(new numbered_request(3));
    EXPECT_EQ(worker->get_count() + alive, 2);
    worker.reset();
    EXPECT_EQ(alive, 0);
}

/** A packet whose payload repeats one letter. */
struct sent {
    std::uint32_t timestamp;
    char letter;
    std::size_t payload_bytes = 160;
    bool marker = false;
    std::uint32_t ssrc = 7;
};

class recording_test : public testing::Test {
  protected:
    recording_test() { testing::internal::CaptureStderr(); }

    std::unique_ptr<recording> record(const std::string& name, RecordingType type) {
        auto made = std::make_unique<recording>("1", name, "s", type, [](int) {});
        made->release();
        paths.push_back(made->get_path());
        return made;
    }
    static void feed(recording& to, int payload_type, const sent& packet) {
        const auto bytes = harness::rtp_packet_bytes(
            payload_type, 1, packet.timestamp, packet.ssrc,
            std::vector<std::uint8_t>(packet.payload_bytes, packet.letter), packet.marker);
        to.record({}, reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
    }
    void start() {
        mover.start();
        writer.start();
    }
    void wait_for_writer() {
        EXPECT_TRUE(harness::eventually([this] { return writer.get_count() == 0; }));
    }
    /** Ends both workers. @return what was logged */
    std::string finish() {
        writer.stop();
        writer.join();
        mover.stop();
        mover.join();
        return testing::internal::GetCapturedStderr();
    }
    /** Compares a file with frames of letters, of silence (a dot) and of 1250 times silence (M). */
    static void expect_frames(const std::string& path, int payload_type, const std::string& text) {
        const auto payload = static_cast<rtp_payload>(payload_type);
        const auto frame_bytes = static_cast<std::size_t>(payload_frame_size(payload));
        std::string expected,
            silence("\x78\x52\x80\xA0\x00\xFA\xC2\x00\x07\xD6", payload == G729 ? 10 : 0);
        while (silence.size() < frame_bytes) {
            silence += "\x7F\xFF";
        }
        for (const char c : text) {
            for (int i = 0; i < (c == 'M' ? 1250 : 1); ++i) {
                expected += c == '.' || c == 'M' ? silence : std::string(frame_bytes, c);
            }
        }
        EXPECT_TRUE(content(path) == expected) << path << " is not " << text;
    }

    const harness::temporary_directory work, store;
    const char* arguments[5]{"", "-a", work.path().c_str(), "-l", store.path().c_str()};
    config options{5, const_cast<char**>(arguments)};
    ev::default_loop loop;
    util::loop_calls calls;
    RecMoverThread mover;
    LoggingThread writer;
    std::vector<std::string> paths; // of the recordings, when finished
};

TEST_F(recording_test, fills_what_is_missing_and_nothing_else) {
    const std::tuple<const char*, int, std::vector<sent>, const char*> rows[] = {
        {"two frames", PCMU, {{1000, 'a'}, {1480, 'b'}, {1640, 'c'}}, "a..bc"},
        {"no whole frame", PCMU, {{1000, 'a'}, {1319, 'b'}, {1640, 'c'}}, "ab.c"},
        {"2000 frames", PCMU, {{160, 'a'}, {2002 * 160, 'b'}}, "aMb"},
        // A wrap counts one unit too few, which costs a frame wherever whole frames are missing.
        {"wrap", PCMU, {{0xFFFFFF60, 'a'}, {320, 'b'}, {480, 'c'}}, "a.bc"},
        {"widest wrap", PCMU, {{4294767295, 'a'}, {199999, 'b'}}, "aMb"},
        {"late", PCMU, {{4294967040, 'a'}, {200000, 'b'}, {4294967200, 'c'}}, "abc"},
        {"back", PCMU, {{1000, 'a'}, {1160, 'b'}, {1000, 'c'}, {1320, 'd'}}, "abcd"},
        {"marker", PCMU, {{1000, 'a'}, {9000, 'b', 160, true}, {9160, 'c'}}, "abc"},
        // The time of a source that ran ahead owes the next one nothing.
        {"ahead",
         PCMU,
         {{0, 'a'}, {800, 'b'}, {5, 'c', 160, false, 8}, {165, 'd', 160, false, 8}},
         "a....bcd"},
        {"G.729",
         G729,
         {{0, 'a', 20}, {160, 'b', 20}, {480, 'c', 20}, {640, 'd', 10}},
         "aabb..cc.d"}};
    start();
    for (const auto& [name, payload_type, packets, expected] : rows) {
        const auto recorded = record(name, payload_type == G729 ? g729_in : ulaw_in);
        for (const sent& packet : packets) {
            feed(*recorded, payload_type, packet);
        }
    }
    const std::string log = finish();
    for (std::size_t i = 0; i < paths.size(); ++i) {
        expect_frames(paths[i], std::get<1>(rows[i]), std::get<3>(rows[i]));
    }
    for (const std::string line :
         {"(two frames): writing 2 silence frames\n",
          "(2000 frames): silence frames truncated from 2000 to 1250.\n",
          "(back): ignoring out of sequence packet.\n", "(ahead): ssrc change to 0x7000000\n"}) {
        EXPECT_NE(log.find("-- recording" + line), std::string::npos) << line << log;
    }
}

timespec passed_time{}; // on the clock of the next test

TEST_F(recording_test, fills_the_time_between_two_sources_up_to_a_limit_and_logs_only_so_much) {
    start();
    auto recorded = std::make_unique<recording>(
        "1", "r", "s", ulaw_out, [](int) {}, [] { return passed_time; });
    paths.push_back(recorded->get_path());
    feed(*recorded, PCMU, {1000, 'a'});
    wait_for_writer();
    const fs::path in_work = fs::path(work.path()) / fs::path(paths[0]).filename();
    EXPECT_EQ(fs::file_size(in_work), 0U) << "announced before the reply that names it";
    recorded->release();
    passed_time.tv_nsec = 90'000'000;
    feed(*recorded, PCMU, {5, 'b', 160, false, 8});
    passed_time.tv_sec = 36'000;
    feed(*recorded, PCMU, {5, 'c', 160, false, 9});
    for (int i = 0; i < 150; ++i) {
        feed(*recorded, PCMU, {4, 'd', 160, false, 9});
    }
    recorded.reset();
    const std::string log = finish();
    expect_frames(paths[0], PCMU, "a...bMc" + std::string(150, 'd'));
    EXPECT_NE(log.find("-- recording(r): suppressed log lines: 130\n"), std::string::npos) << log;
}

TEST_F(recording_test, waits_for_the_writer_in_bounded_memory_and_keeps_raw_files_in_real_time) {
    constexpr int packet_bytes = 1468, record_bytes = 48 + packet_bytes, fed = 12'000;
    constexpr std::size_t most = 16 << 20;
    const std::vector<char> packet(packet_bytes, 'x');
    auto gaps = record("gaps", g729_in);
    for (std::uint32_t i = 0; i <= 60; ++i) { // each as much as one packet may ask for
        feed(*gaps, G729, {1251 * 80 * i, 'x', 10});
    }
    gaps.reset();
    auto late = record("late", ulaw_in);
    constexpr std::uint32_t late_frames = most / 160 + 5000;
    for (std::uint32_t i = 0; i < late_frames; ++i) {
        feed(*late, PCMU, {160 * i, 'x'});
    }
    for (int file = 0; file < 9; ++file) {
        const auto recorded = record("r", pcap);
        for (int i = 0; i < fed; ++i) {
            recorded->record({}, packet.data(), packet_bytes);
        }
    }
    start();
    wait_for_writer();
    record("afterwards", pcap)->record({}, packet.data(), packet_bytes);
    feed(*late, PCMU, {160 * late_frames, 'x'});
    late.reset();
    const std::string log = finish();
    EXPECT_EQ(fs::file_size(paths.back()), 24U + record_bytes) << "room is not given back";
    paths.pop_back();
    EXPECT_EQ(fs::file_size(paths[0]), (61 + 60 * 1250) * 10U);
    std::string frames = content(paths[1]);
    EXPECT_TRUE(frames.ends_with(std::string(160, 'x'))) << "room of a file is not given back";
    frames.resize(frames.size() - 160);
    EXPECT_EQ(frames.size(), late_frames * 160U);
    EXPECT_EQ(frames.find_first_not_of('x'), frames.find_last_of('x') + 1);
    EXPECT_NEAR(static_cast<double>(frames.find_first_not_of('x')), most, 160);
    std::size_t waited = most;
    for (std::size_t i = 2; i < paths.size(); ++i) {
        const auto records = fs::file_size(paths[i]) / record_bytes;
        const std::string dropped =
            "-- recording(r): " + std::to_string(fed - records) + " packets or fillings dropped\n";
        EXPECT_NE(log.find(dropped), std::string::npos) << log;
        EXPECT_LE(records * record_bytes, most + record_bytes);
        waited += records * record_bytes;
    }
    EXPECT_NEAR(static_cast<double>(waited), 128 << 20, 2 << 20);
}

TEST_F(recording_test, gathers_on_while_the_block_before_waits_for_a_slow_disk) {
    auto recorded = record("r", ulaw_in);
    feed(*recorded, PCMU, {160, 'a'});
    feed(*recorded, PCMU, {320, 'b'});
    const int asked = writer.get_count();
    loop.run(ev::ONCE); // until the turn of half a second
    EXPECT_EQ(writer.get_count(), asked);
    recorded.reset();
    start();
    (void)finish();
    expect_frames(paths[0], PCMU, "ab");
}

TEST_F(recording_test, wav_file_is_whole_at_every_block_and_begins_with_a_valid_header) {
    const std::vector<std::int16_t> frame(160, 0x0102);
    const std::string speech(reinterpret_cast<const char*>(frame.data()), 320);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    mover.set_out_fd(ends[1]);
    int errors = 0;
    const auto count = [&errors](int error) { errors += error == 0 ? 0 : 1; };
    std::optional<wav_recording> heard(std::in_place, "1", "heard", "s", count);
    std::optional<wav_recording> never(std::in_place, "1", "never", "s", count);
    std::optional<wav_recording> refused(std::in_place, "1", "../x", "s", count);
    start();
    heard->append(frame); // written at once
    const fs::path stored = heard->get_path();
    const std::string in_work = work.path() + "/" + stored.filename().string();
    EXPECT_TRUE(harness::eventually([&] { return content(in_work) == wav_header(320) + speech; }));
    heard->append_silence(10'000);
    heard->append(frame);
    const std::string never_path = never->get_path(), refused_path = refused->get_path();
    heard.reset(), never.reset(), refused.reset();
    (void)finish();
    loop.run(ev::NOWAIT);
    EXPECT_EQ(errors, 1) << "the loop is told of each opening";
    EXPECT_TRUE(content(stored) ==
                wav_header(320 * 10'002) + speech + std::string(320 * 10'000, '\0') + speech);
    // Bytes of a header for two samples, as other programs write it.
    EXPECT_EQ(wav_header(4), std::string("RIFF\x28\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0"
                                         "\x80\x3E\0\0\2\0\x10\0data\4\0\0\0",
                                         44));
    EXPECT_EQ(content(never_path), wav_header(0));
    EXPECT_FALSE(fs::exists(refused_path));
    char notices[1000];
    const auto got = ::read(ends[0], notices, sizeof notices);
    const std::string name = stored.filename(), other = fs::path(never_path).filename();
    EXPECT_EQ(std::string(notices, static_cast<std::size_t>(got)),
              "1 REC_STARTED " + name + " s\n1 REC_FINISHED " + name + " s\n1 REC_FINISHED " +
                  other + " s\n");
    ::close(ends[0]), ::close(ends[1]);
}

} // namespace
} // namespace vocalink
