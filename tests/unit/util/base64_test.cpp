// SPDX-License-Identifier: GPL-3.0-or-later
// Keys as text.
#include "util/base64.hpp"

#include <gtest/gtest.h>

namespace vocalink {
namespace {

TEST(base64, writes_padded_groups_and_reads_up_to_what_it_does_not_know) {
    const std::pair<std::string, std::string> both_ways[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xFF\xEF\xBE", "/+++"}};
    for (const auto& [bytes, text] : both_ways) {
        const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
        EXPECT_EQ(base64_encode(data, static_cast<unsigned int>(bytes.size())), text);
        EXPECT_EQ(base64_decode(text), bytes) << text;
    }
    const std::pair<std::string, std::string> read[] = {
        {"QUJD=QUJD", "ABC"}, {"QUJD QUJD", "ABC"}, {"QUJDR", "ABC"}, {"QUJ\xC3\xA4", "AB"}};
    for (const auto& [text, bytes] : read) {
        EXPECT_EQ(base64_decode(text), bytes) << text;
    }
}

} // namespace
} // namespace vocalink
