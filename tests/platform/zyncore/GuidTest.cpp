#include "zyncore.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace {

using zyncore::utility::Guid;

constexpr Guid kGuid(0x01234567, 0x89AB, 0xCDEF, {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE});

TEST(GuidTest, TextFormsNameTheSameBytes) {
    const unsigned char expected[16] = {0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD,
                                        0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE};
    EXPECT_EQ(std::memcmp(&kGuid, expected, sizeof(expected)), 0);
    EXPECT_LT(Guid(0xFF000001, 0, 0, {}), Guid(2, 0, 0, {})) << "the order is that of the bytes";
    EXPECT_EQ(kGuid.ToString(), "01234567-89ab-cdef-1032-547698badcfe");
    for (const char* text : {"01234567-89ab-cdef-1032-547698badcfe", "{01234567-89AB-CDEF-1032-547698BADCFE}"}) {
        Guid read;
        EXPECT_TRUE(Guid::FromString(text, read)) << text;
        EXPECT_EQ(read, kGuid) << text;
    }
}

TEST(GuidTest, RefusesAnyOtherText) {
    for (const char* text : {"", "01234567-89ab-cdef-1032-547698badcf", "01234567-89ab-cdef-1032-547698badcfee",
                             "{01234567-89ab-cdef-1032-547698badcfe", "01234567-89ab-cdef-1032-547698badcfg",
                             "01234567-89ab-cdef-1032--47698badcfe", "+1234567-89ab-cdef-1032-547698badcfe"}) {
        Guid read = kGuid;
        EXPECT_FALSE(Guid::FromString(text, read)) << text;
        EXPECT_EQ(read, kGuid) << text;
    }
}

TEST(GuidTest, GeneratedIdentifiersAreRandomVersion4) {
    std::set<Guid> seen;
    for (int n = 0; n < 1000; ++n) {
        const Guid guid = Guid::Generate();
        EXPECT_EQ(guid.Bytes()[7] >> 4, 4) << guid.ToString();
        EXPECT_EQ(guid.Bytes()[8] >> 6, 2) << guid.ToString();
        EXPECT_TRUE(seen.insert(guid).second);
    }
}

} // namespace
