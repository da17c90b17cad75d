// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings: their commands, files and notices, every way they end, and what goes wrong with them.
#include "system_test.hpp"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <numeric>
#include <set>

#include <arpa/inet.h>
#include <sys/resource.h>

namespace vocalink::system_tests {

namespace fs = std::filesystem;

constexpr std::size_t pcap_header_bytes = 24;
constexpr std::size_t pcmu_record_bytes = 48 + 12 + 160;
const bytes speech = random_bytes(160, 1);

class recording_test : public system_test {
  protected:
    recording_test() {
        fs::create_directory(work);
        fs::create_directory(store);
    }
    void start_recorder(const std::string& timeout_s = "30") {
        start({"-a", work, "-l", store, "-t", timeout_s});
    }

    /** Starts a recording. @return the name of its file */
    std::string record(const std::string& stream, const std::string& name,
                       const std::string& type) {
        const std::string reply =
            control->command("recording start " + stream + " " + name + " " + type);
        const std::string success = "SUCCESS " + store + "/";
        EXPECT_TRUE(reply.starts_with(success)) << reply;
        return reply.substr(std::min(success.size(), reply.size()));
    }
    /** Ends a recording on the stream a that was announced, and waits for its file. */
    void stop(const std::string& name, const std::string& file) {
        expect_reply("recording stop a " + name, "SUCCESS");
        expect_notice("FINISHED", file);
    }
    void expect_notice(const std::string& word, const std::string& file) {
        EXPECT_EQ(control->notice(), "REC_" + word + " " + file + " a");
    }
    void expect_relay(leg& from, leg& to, int packets = 1) {
        for (int i = 0; i < packets; ++i) {
            const bytes sent = from.send(pcmu, speech);
            EXPECT_EQ(to.phone.receive(), sent);
        }
    }
    std::string stored(const std::string& file) const { return content(store + "/" + file); }

    harness::temporary_directory directory;
    const std::string work = directory.path() + "/work $(1)", store = directory.path() + "/'store;";
};

TEST_F(recording_test, replies_to_start_and_stop_and_changes_nothing_when_refusing) {
    start_recorder();
    new_call({"PCMU", "PCMU"});
    const std::string file = record("a", "r", "pcap");
    EXPECT_TRUE(file.starts_with("r_") && file.ends_with(".pcap")) << file;
    EXPECT_TRUE(record("b", "r", "g729_out").ends_with(".g729"));
    for (const std::string words :
         {"", " start a r", " stop a r pcap", " pause a r", " start a x pcap more"}) {
        expect_reply("recording" + words,
                     "ERROR COMMAND_ERROR recording command usage: 'start' 'stream' "
                     "'recording_name' 'type' | 'stop' 'stream' 'recording_name'");
    }
    expect_reply("recording start none x pcap", "ERROR can't find stream");
    expect_reply("recording stop none r", "ERROR can't find stream");
    expect_reply("recording start a r wav", "ERROR already recording on stream");
    expect_reply("recording start a x PCAP", "ERROR unknown type");
    expect_reply("recording stop a x", "ERROR unknown recording");
    for (const std::string& name : {std::string("../x"), store + "/x", std::string(300, 'x')}) {
        expect_reply("recording start a \"" + name + "\" pcap", "ERROR create recording failed");
    }
    for (const char* line : {"-- stream(a): already has a recording with id r\n",
                             "-- stream(a): unable to create recording x with unknown type PCAP\n",
                             "-- stream(1): attempt to stop non-existent recording x\n",
                             "-- stream(a): creating recording failed with id ../x\n"}) {
        EXPECT_EQ(occurrences(daemon->log(), line), 1) << line;
    }
    stop("r", file); // has never been announced
    EXPECT_EQ(stored(file).size(), pcap_header_bytes);
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(directory.path()), {}), 2 + 2);
    for (const std::string name : {"a  b", "'a'", "-f", "*", ";touch rec_made;",
                                   "$(touch rec_made)", "`touch rec_made`", "&touch rec_made&"}) {
        const std::string word = "\"" + name + "\"", strange = record("a", word, "ulaw_in");
        EXPECT_TRUE(strange.starts_with(name + "_") && strange.ends_with(".ulaw")) << strange;
        stop(word, strange);
        EXPECT_TRUE(fs::exists(fs::path(store) / strange)) << strange;
    }
    EXPECT_FALSE(fs::exists("rec_made"));
}

struct endpoint {
    std::string ip;
    unsigned port;
};

/** What a pcap file must hold for a packet. @param time  8 bytes, as the file has them */
std::string pcap_record(const std::string& time, unsigned number, const endpoint& from,
                        const endpoint& to, const bytes& packet) {
    const auto length = static_cast<unsigned>(packet.size());
    std::vector<unsigned> words{0x4500, length + 28, number, 0, 0x7F11, 0};
    for (const endpoint& end : {from, to}) {
        const unsigned ip = ntohl(::inet_addr(end.ip.c_str()));
        words.insert(words.end(), {ip >> 16, ip & 0xFFFF});
    }
    const unsigned sum = std::accumulate(words.begin(), words.end(), 0U);
    words[5] = 0xFFFF - (1 + (sum - 1) % 0xFFFF); // all carries added
    words.insert(words.end(), {from.port, to.port, length + 8, 0});
    std::string record = time;
    for (const unsigned little_endian : {length + 32, length + 32, 2U}) {
        record.append(reinterpret_cast<const char*>(&little_endian), 4);
    }
    for (const unsigned word : words) {
        record += {static_cast<char>(word >> 8), static_cast<char>(word)};
    }
    return record.append(packet.begin(), packet.end());
}

std::string payload_of(const bytes& packet) {
    return {packet.begin() + harness::rtp_header_bytes, packet.end()};
}

TEST_F(recording_test, every_type_holds_its_packets_to_the_byte) {
    start_recorder();
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    std::map<std::string, std::string> files; // by type
    for (const char* type : {"pcap", "ulaw_in", "ulaw_out", "g729_in", "g729_out"}) {
        files[type] = record("a", type, type);
    }

    const auto began = std::time(nullptr);
    const bytes first = a.send(pcmu, speech);
    EXPECT_EQ(b.phone.receive(), first);
    const bytes answer = b.send(pcmu, random_bytes(160, 2));
    EXPECT_EQ(a.phone.receive(), answer);
    for (const char* type : {"g729_in", "pcap", "ulaw_in", "g729_out", "ulaw_out"}) {
        expect_notice("STARTED", files[type]);
    }
    const bytes digit = a.send(telephone_event, {5, 10, 0, 160}, true);
    const bytes digit_end = a.send(telephone_event, {5, 0x80 | 10, 0, 160});
    EXPECT_TRUE(control->notice() && control->notice());
    a.sequence += 2; // lost
    const bytes last = a.send(pcmu, random_bytes(160, 3));
    EXPECT_EQ(b.phone.receive(), last);
    expect_reply("leave room b", "SUCCESS");
    expect_reply("new dtmf_stream d 7 40 101", "SUCCESS");
    expect_reply("join room d", "SUCCESS");
    EXPECT_TRUE(control->notice().value().starts_with("TIMEOUT STREAM d "));
    stop("g729_in", files["g729_in"]);
    EXPECT_TRUE(control->command("delete stream a").starts_with("SUCCESS"));
    for (const char* type : {"g729_out", "pcap", "ulaw_in", "ulaw_out"}) {
        expect_notice("FINISHED", files[type]);
    }
    std::string silence; // two frames lost, and two of the digit
    for (int i = 0; i < 4 * 80; ++i) {
        silence += "\x7F\xFF";
    }
    EXPECT_EQ(stored(files["ulaw_in"]), payload_of(first) + silence + payload_of(last));
    EXPECT_EQ(stored(files["g729_in"]), stored(files["ulaw_in"]));
    EXPECT_EQ(stored(files["ulaw_out"]), payload_of(answer));
    EXPECT_EQ(stored(files["g729_out"]), payload_of(answer));

    const std::string file = stored(files["pcap"]);
    const std::string header("\xD4\xC3\xB2\xA1\2\0\4\0\0\0\0\0\0\0\0\0\xFF\xFF\0\0\0\0\0\0", 24);
    ASSERT_EQ(file.substr(0, pcap_header_bytes), header);
    std::vector<std::pair<int, bytes>> packets = {
        {1, first}, {-1, answer}, {2, digit}, {3, digit_end}, {4, last}}; // sent ones below zero
    while (const auto event = a.phone.receive(0ms)) {
        packets.emplace_back(3 - static_cast<int>(packets.size()), *event);
    }
    EXPECT_GT(packets.size(), 6U) << "no event was sent to the telephone";
    const endpoint phone{local_ip, a.phone.port()}, local{local_ip, a.port};
    std::size_t at = pcap_header_bytes;
    for (const auto& [number, packet] : packets) {
        const std::string time = file.substr(std::min(at, file.size()), 8);
        const std::string expected = number > 0 ? pcap_record(time, number, phone, local, packet)
                                                : pcap_record(time, -number, local, phone, packet);
        ASSERT_EQ(file.substr(at, expected.size()), expected) << at;
        std::uint32_t seconds = 0;
        std::memcpy(&seconds, time.data(), sizeof seconds);
        EXPECT_TRUE(seconds >= began && seconds <= std::time(nullptr)) << seconds;
        at += expected.size();
    }
    EXPECT_EQ(file.size(), at);
}

TEST_F(recording_test, finishes_with_a_sound_file_and_with_a_stream_that_times_out) {
    start_recorder("0"); // a stream ends at its first check, after the lines that came with it
    control->send(new_stream("a", "PCMU") + "\nrecording start a r pcap\n");
    EXPECT_TRUE(control->read_line() && control->read_line());
    EXPECT_EQ(control->notice(), "TIMEOUT STREAM a incoming_packets=0 outgoing_packets=0");
    EXPECT_TRUE(control->notice().value().starts_with("REC_FINISHED r_"));

    start_recorder();
    const std::string path = directory.path() + "/sound", frames = payload_of(random_bytes(812, 5));
    std::ofstream(path) << frames;
    expect_reply("new sound_stream a " + path + " noloop PCMU", "SUCCESS " + path + " noloop");
    const std::string raw = record("a", "r", "ulaw_in");
    control->send("new vocalink room\njoin room a\n");
    EXPECT_TRUE(control->read_line() && control->read_line());
    expect_notice("STARTED", raw);
    EXPECT_TRUE(control->notice().value().starts_with("TIMEOUT STREAM a incoming_packets=5 "));
    expect_notice("FINISHED", raw);
    EXPECT_EQ(stored(raw), frames);
}

TEST_F(recording_test, interrupt_and_end_of_connection_lose_nothing_of_200) {
    start_recorder();
    std::vector<leg> legs;
    expect_reply("new vocalink room", "SUCCESS");
    // The notices of the second stream are too much for a pipe that nobody reads any more.
    for (const std::string& id : {std::string("a"), std::string(1000, 'b')}) {
        legs.push_back(new_leg(id, "PCMU"));
        expect_reply("join room " + id, "SUCCESS");
    }
    std::vector<std::string> files;
    for (int i = 0; i < 200; ++i) {
        files.push_back(record(legs[i % 2].id, std::to_string(i), "pcap"));
    }
    expect_relay(legs[0], legs[1], 20);
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(control->notice().value().starts_with("REC_STARTED "));
    }
    harness::controller other(daemon->socket_path());
    EXPECT_TRUE(other.command(new_stream("a", "PCMU")).starts_with("SUCCESS"));
    EXPECT_TRUE(other.command("recording start a 0 pcap").starts_with("SUCCESS"));
    EXPECT_TRUE(other.command("recording start a other pcap").starts_with("SUCCESS"));
    EXPECT_EQ(other.command("recording stop a 0"), "SUCCESS");
    EXPECT_TRUE(other.notice().value().starts_with("REC_FINISHED 0_"));
    other.close();
    EXPECT_TRUE(daemon->wait_for_log("): submitting move request other_"));
    EXPECT_FALSE(control->notice(0ms));
    for (int i = 0; i < 200; i += 2) { // whose files are being moved when the interrupt comes
        expect_reply("recording stop a " + std::to_string(i), "SUCCESS");
    }
    ASSERT_EQ(daemon->stop(), 0);
    for (const std::string& file : files) {
        EXPECT_EQ(stored(file).size(), pcap_header_bytes + 20 * pcmu_record_bytes) << file;
    }
    EXPECT_TRUE(fs::is_empty(work));
    EXPECT_EQ(std::distance(fs::directory_iterator(store), {}), 200 + 2);
}

TEST_F(recording_test, killed_daemon_leaves_readable_files_but_for_the_last_second) {
    start_recorder();
    auto legs = new_call({"G729", "G729"});
    const std::string raw = record("a", "r", "g729_in");
    std::string sent;
    std::size_t settled = 0; // bytes sent up to a second before the end
    const auto began = std::chrono::steady_clock::now();
    for (auto age = 0ns; age < 1400ms; age = std::chrono::steady_clock::now() - began) {
        const bytes packet = legs[0].send(g729, random_bytes(20, legs[0].sequence));
        sent += payload_of(packet);
        settled = age < 400ms ? sent.size() : settled;
        ASSERT_EQ(legs[1].phone.receive(), packet);
        EXPECT_TRUE(legs[1].phone.receive_nothing(8ms)); // keeps the writer busy, as a few calls do
    }
    ASSERT_EQ(::kill(daemon->pid(), SIGKILL), 0);
    EXPECT_EQ(daemon->stop(), 128 + SIGKILL);
    const std::string written = content(work + "/" + raw);
    EXPECT_TRUE(sent.starts_with(written) && written.size() >= settled) << written.size();
    start_recorder(); // the next one is to end as usual
}

TEST_F(recording_test, call_goes_on_without_room_and_without_directories) {
    start_recorder();
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    const rlimit room{60'000, RLIM_INFINITY}; // of each file, as on a disk that is full
    ASSERT_EQ(::prlimit(daemon->pid(), RLIMIT_FSIZE, &room, nullptr), 0);
    const std::size_t whole = room.rlim_cur / pcmu_record_bytes;
    for (const std::string name : {"first", "second"}) {
        const std::string full = record("a", name, "pcap");
        expect_relay(a, b, 400);
        expect_notice("STARTED", full);
        stop(name, full);
        EXPECT_EQ(stored(full).size(), pcap_header_bytes + whole * pcmu_record_bytes);
    }
    const std::string lost_records = "): " + std::to_string(400 - whole) + " records lost";
    EXPECT_EQ(occurrences(daemon->log(), lost_records), 2);
    EXPECT_EQ(occurrences(daemon->log(), "log_packet: write packet failed: File too large\n"), 1);

    const std::string lost = record("a", "lost", "pcap");
    fs::remove_all(work);
    expect_relay(a, b);
    expect_notice("STARTED", lost);
    expect_reply("recording start b r ulaw_in", "ERROR create recording failed");
    EXPECT_EQ(occurrences(daemon->log(), "-- recording(r): could not create log file " + work), 1);
    stop("lost", lost);
    fs::create_directory(work);
    fs::remove_all(store);
    const std::string kept = record("a", "kept", "ulaw_in");
    expect_relay(a, b);
    expect_notice("STARTED", kept);
    stop("kept", kept);
    EXPECT_EQ(fs::file_size(work + "/" + kept), 160U);
    expect_relay(b, a);
}

TEST_F(recording_test, thousand_at_once_are_each_announced_once) {
    start_recorder();
    auto legs = new_call({"PCMU", "PCMU"});
    std::set<std::string> expected, notices;
    for (int i = 0; i < 1000; ++i) {
        const std::string file = record("a", std::to_string(i), "ulaw_in");
        expected.insert({"REC_STARTED " + file + " a", "REC_FINISHED " + file + " a"});
    }
    EXPECT_EQ(expected.size(), 2000U);
    expect_relay(legs[0], legs[1]);
    for (int i = 0; i < 1000; ++i) {
        expect_reply("recording stop a " + std::to_string(i), "SUCCESS");
    }
    for (int i = 0; i < 2000; ++i) {
        notices.insert(control->notice().value());
    }
    EXPECT_EQ(notices, expected);
    EXPECT_TRUE(eventually([this] { return control->command("queue_count") == "SUCCESS 0 0"; }));
}

TEST_F(recording_test, tshark_finds_nothing_but_rtp_in_a_pcap_file) {
    start_recorder();
    if (std::system("command -v tshark > /dev/null") != 0) {
        GTEST_SKIP() << "tshark is not installed: nobody else reads the pcap file";
    }
    auto legs = new_call({"PCMU", "PCMU"});
    const std::string file = record("a", "r", "pcap");
    expect_relay(legs[0], legs[1], 3);
    expect_relay(legs[1], legs[0], 2);
    expect_notice("STARTED", file);
    legs[0].send(telephone_event, {5, 10, 0, 160}, true);
    EXPECT_TRUE(control->notice().value().starts_with("DTMF_START"));
    stop("r", file);
    const std::string port = std::to_string(legs[0].port), out = directory.path() + "/out";
    const std::string command = "tshark -r \"" + store + "/" + file + "\" -d udp.port==" + port +
                                ",rtp -o ip.check_checksum:TRUE -T fields -E separator=, -e rtp.seq"
                                " -e rtp.p_type -e ip.checksum.status -e _ws.malformed > " +
                                out + " 2> /dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(content(out), "1,0,1,\n2,0,1,\n3,0,1,\n1,0,1,\n2,0,1,\n4,101,1,\n");
}

} // namespace vocalink::system_tests
