// Tests of the dotted version packing.
#include "de_config/version_packing.h"

#include <gtest/gtest.h>

using deflash::pack_version;

TEST(VersionPacking, PacksTheFirstCharacterOfEachPart) {
  EXPECT_EQ(pack_version("1.2.3.4"), 0x31323334u);
  EXPECT_EQ(pack_version("2.1.0.3"), 0x32313033u);
}

TEST(VersionPacking, OnlyTheFirstDigitOfAMultiDigitPartCounts) {
  EXPECT_EQ(pack_version("10.2"), 0x3132u);
}

TEST(VersionPacking, EmptyTextPacksToZero) { EXPECT_EQ(pack_version(""), 0u); }

TEST(VersionPacking, MoreThanFourPartsShiftTheFirstOnesOut) {
  EXPECT_EQ(pack_version("1.2.3.4.5"), 0x32333435u);
}

TEST(VersionPacking, EmptyPartsAreSkipped) {
  EXPECT_EQ(pack_version("1..2"), 0x3132u);
  EXPECT_EQ(pack_version("."), 0u);
}

TEST(VersionPacking, ByteAbove0x7FIsWidenedAsASignedCharacter) {
  EXPECT_EQ(pack_version("\xB5"), 0xFFFFFFB5u);
  EXPECT_EQ(pack_version("\xB5.1"), 0xFFFFB531u);
}
