// SPDX-License-Identifier: GPL-3.0-or-later
// Datagrams on their way into recordings of every type, and whether their files can be read.
//
// Input: a byte for the codec, then steps.
#include "recording/recording.hpp"

#include "control/owned_objects.hpp"
#include "recording/wav_recording.hpp"
#include "streams/rtp_stream.hpp"
#include "streams/wav_stream.hpp"
#include "support/far_end.hpp"
#include "support/world.hpp"

#include <cassert>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

using namespace vocalink;
using fuzz::world;

namespace {

constexpr const char* encodings[] = {"PCMU", "G729", "ILBC20", "PCMA"};
constexpr std::size_t pcap_header_bytes = 24;
constexpr std::size_t wav_header_bytes = 44;

std::uint32_t number_at(const std::string& content, std::size_t place) {
    std::uint32_t number = 0;
    assert(place + sizeof number <= content.size());
    std::memcpy(&number, &content[place], sizeof number);
    return number;
}

void check_pcap(const std::string& content) {
    constexpr std::size_t length_place = 8, head_bytes = 16;
    std::size_t at = pcap_header_bytes;
    while (at < content.size()) {
        const std::uint32_t captured = number_at(content, at + length_place);
        assert(captured == number_at(content, at + length_place + 4) && "nothing is cut");
        at += head_bytes + captured;
    }
    assert(at == content.size() && "a record is not whole");
}

void check_wav(const std::string& content) {
    constexpr std::size_t riff_place = 4, data_place = 40;
    assert(number_at(content, riff_place) + 8 == content.size());
    assert(number_at(content, data_place) + wav_header_bytes == content.size());
}

void check_files(const std::string& directory) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(file), {});
        if (entry.path().extension() == ".pcap") {
            check_pcap(content);
        } else if (entry.path().extension() == ".wav") {
            check_wav(content);
        }
        files += 1;
    }
    assert(files == 6);
}

void record(stream& leg) {
    constexpr RecordingType types[] = {pcap, ulaw_in, ulaw_out, g729_in, g729_out};
    for (const RecordingType type : types) {
        const std::string name = "r" + std::to_string(type);
        auto made = std::make_unique<recording>("1", name, leg.id, type, [](int) {});
        made->release();
        leg.add_recording(name, std::move(made));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    world& around = world::instance();
    around.begin();
    fuzz::input in(data, size);
    {
        owned_objects objects;
        auto& leg = objects.adopt(
            std::make_unique<rtp_stream>("a", "127.0.0.1", "127.0.0.1", 9, in.one_of(encodings)));
        fuzz::far_end phone(leg.local_port());
        record(leg);
        auto& room = objects.adopt(std::make_unique<bridge>("room", make_conference));
        auto file = std::make_unique<wav_recording>("1", "w", "w", [](int) {});
        auto& heard = objects.adopt(std::make_unique<wav_stream>("w", std::move(file)));
        room.add_stream(&leg);
        room.add_stream(&heard);
        while (!in.empty()) {
            const std::uint8_t step = in.byte();
            if (step < 0x60) {
                around.pass_time(step);
            } else if (step < 0x68) {
                around.pass_time(1000 * (step & 7)); // up to what ends no stream
            } else {
                phone.send(in);
            }
            if (objects.find_stream("a") == nullptr) {
                break;
            }
        }
    }
    around.wait_for_workers();
    around.wait_for_workers(); // the writer hands closed files to the mover
    check_files(around.directory());
    around.clear_directory();
    return 0;
}
