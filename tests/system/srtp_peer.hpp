// SPDX-License-Identifier: GPL-3.0-or-later
// The far end of an encrypted leg: RFC 3711 over the AES of OpenSSL.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include <openssl/evp.h>

namespace vocalink::system_tests {

using aes_block = std::array<std::uint8_t, 16>;

/** AES in counter mode, RFC 3711 4.1.1; the last two bytes of the counter begin at 0. */
inline std::vector<std::uint8_t> aes_keystream(const aes_block& key, const aes_block& counter,
                                               std::size_t count) {
    std::vector<std::uint8_t> stream(count); // encrypts zeros
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    int written = 0;
    EVP_EncryptInit_ex(cipher.get(), EVP_aes_128_ctr(), nullptr, key.data(), counter.data());
    EVP_EncryptUpdate(cipher.get(), stream.data(), &written, stream.data(),
                      static_cast<int>(count));
    return stream; // where AES failed, no packet is understood
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
