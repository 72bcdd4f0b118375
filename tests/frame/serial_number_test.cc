#include "frame/serial_number.h"

#include <gtest/gtest.h>

#include "deflash/frame.h"

TEST(SerialNumber, IsZeroBeforeAnySet) {
  for (const uint8_t byte : deflash::module_serial_number()) EXPECT_EQ(byte, 0);
}

TEST(SerialNumber, CopiesEightBytesOfEachPartInOrder) {
  const char part0[] = "ABCDEFGHzz";
  const char part1[] = "IJKLMNOPzz";
  const char part2[] = "QRSTUVWXzz";
  set_soc_sn(part0, part1, part2);
  const auto& sn = deflash::module_serial_number();
  EXPECT_EQ(std::string(sn.begin(), sn.end()), "ABCDEFGHIJKLMNOPQRSTUVWX");
}

TEST(SerialNumber, KeepsTheLastValue) {
  const uint8_t a[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  const uint8_t b[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  set_soc_sn(a, a, a);
  set_soc_sn(b, a, b);
  const auto& sn = deflash::module_serial_number();
  EXPECT_EQ(sn[0], 9);
  EXPECT_EQ(sn[8], 1);
  EXPECT_EQ(sn[15], 8);
  EXPECT_EQ(sn[23], 9);
}
