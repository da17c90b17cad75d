// SPDX-License-Identifier: GPL-3.0-or-later
// The far end of an encrypted leg, made from the standards alone: AES (FIPS 197), SRTP (RFC 3711).
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <vector>

namespace vocalink::system_tests {

using aes_block = std::array<std::uint8_t, 16>;

/** Two times x in AES's field. */
inline std::uint8_t aes_twice(int x) {
    return static_cast<std::uint8_t>(x << 1 ^ (x >> 7) * 0x1B);
}

inline std::array<std::uint8_t, 256> aes_substitutions() {
    std::array<std::uint8_t, 256> box{0x63};
    for (std::uint8_t power = 3, inverse = 0xF6;; power ^= aes_twice(power)) {
        box[power] = inverse ^ std::rotl(inverse, 1) ^ std::rotl(inverse, 2) ^
                     std::rotl(inverse, 3) ^ std::rotl(inverse, 4) ^ 0x63;
        if (power == 1) {
            return box;
        }
        for (const int shift : {1, 2, 4}) { // a third
            inverse = static_cast<std::uint8_t>(inverse ^ inverse << shift);
        }
        inverse ^= (inverse >> 7) * 0x09;
    }
}

inline aes_block aes_encrypt(aes_block round_key, aes_block state) {
    static const auto box = aes_substitutions();
    std::uint8_t constant = 1;
    for (int round = 0;; ++round, constant = aes_twice(constant)) {
        aes_block s;
        for (std::size_t i = 0; i < 16; ++i) {
            state[i] ^= round_key[i];
            s[i * 13 % 16] = box[state[i]];
        }
        if (round == 10) {
            return state;
        }
        for (std::size_t i = 0; i < 16; ++i) {
            const auto row = [&](std::size_t down) { return s[i / 4 * 4 + (i + down) % 4]; };
            state[i] = round == 9 ? s[i] : aes_twice(s[i] ^ row(1)) ^ row(1) ^ row(2) ^ row(3);
            round_key[i] ^= i < 4 ? box[round_key[12 + (i + 1) % 4]] : round_key[i - 4];
            round_key[i] ^= i == 0 ? constant : 0;
        }
    }
}

/** AES in counter mode, 4.1.1; the counter's last two bytes begin at 0. */
inline std::vector<std::uint8_t> aes_keystream(const aes_block& key, aes_block counter,
                                               std::size_t count) {
    std::vector<std::uint8_t> made;
    for (unsigned i = 0; made.size() < count; ++i) {
        counter[14] = static_cast<std::uint8_t>(i >> 8);
        counter[15] = static_cast<std::uint8_t>(i);
        const aes_block part = aes_encrypt(key, counter);
        made.insert(made.end(), part.begin(), part.end());
    }
    return made;
}

/** One direction: AES-128 in counter mode, no authentication tag. */
struct srtp_peer {
    aes_block key{};  ///< of the session
    aes_block salt{}; ///< of the session, and two bytes of 0

    /** @param master  key and salt, 30 bytes */
    template <class Bytes>
    explicit srtp_peer(const Bytes& master) {
        aes_block master_key, counter{};
        std::copy_n(master.begin(), 16, master_key.begin());
        std::copy_n(master.begin() + 16, 14, counter.begin());
        std::ranges::copy(aes_keystream(master_key, counter, 16), key.begin());
        counter[7] ^= 2; // the label of the salt, 4.3.1
        std::copy_n(aes_keystream(master_key, counter, 14).begin(), 14, salt.begin());
    }

    /** Encrypts or decrypts a packet with a header of 12 bytes. */
    [[nodiscard]] std::vector<std::uint8_t> crypt(std::vector<std::uint8_t> packet,
                                                  int rollovers = 0) const {
        aes_block counter = salt;
        for (std::size_t i = 0; i < 4; ++i) {
            counter[4 + i] ^= packet[8 + i]; // SSRC
        }
        counter[11] ^= static_cast<std::uint8_t>(rollovers);
        counter[12] ^= packet[2]; // sequence number
        counter[13] ^= packet[3];
        const auto stream = aes_keystream(key, counter, packet.size() - 12);
        for (std::size_t i = 12; i < packet.size(); ++i) {
            packet[i] ^= stream[i - 12];
        }
        return packet;
    }
};

} // namespace vocalink::system_tests
