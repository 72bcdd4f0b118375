// Tests of host/measure/row_error_json.cc: the keyed row-error document that
// rectify-check --json prints and Python's measure_rectification returns.
#include "host/measure/row_error_json.h"

#include <gtest/gtest.h>

#include <string>

#include "host/measure/row_error.h"

namespace {

using deflash_host::row_error_json;
using deflash_host::row_error_result;
using deflash_host::row_error_status;

row_error_result measured(row_error_status status) {
  row_error_result result;
  result.status = status;
  result.threshold = 0.5;
  result.figures.matches = 1234;
  result.figures.mean = 0.123456;
  result.figures.rms = 0.25;
  result.figures.p95 = 0.50004;
  result.figures.max = 1.99996;
  result.figures.regions[0] = {1000, -0.333333};
  result.figures.regions[8] = {234, 0.5};
  return result;
}

TEST(RowErrorJson, AMeasurementHasItsRoundedFiguresRegionsAndVerdict) {
  const std::string expected =
      R"({"matches":1234,"mean_px":0.1235,"rms_px":0.25,"p95_px":0.5,"max_px":2.0,)"
      R"("regions":[[{"matches":1000,"mean_dy_px":-0.3333},{"matches":0,"mean_dy_px":null},)"
      R"({"matches":0,"mean_dy_px":null}],[{"matches":0,"mean_dy_px":null},)"
      R"({"matches":0,"mean_dy_px":null},{"matches":0,"mean_dy_px":null}],)"
      R"([{"matches":0,"mean_dy_px":null},{"matches":0,"mean_dy_px":null},)"
      R"({"matches":234,"mean_dy_px":0.5}]],"threshold_px":0.5,"pass":true})";
  EXPECT_EQ(row_error_json(measured(row_error_status::pass)).dump(), expected);
}

TEST(RowErrorJson, AFailedMeasurementSaysSoAndKeepsItsFigures) {
  const auto doc = row_error_json(measured(row_error_status::fail));
  EXPECT_EQ(doc["pass"], false);
  EXPECT_EQ(doc["mean_px"], 0.1235);
  EXPECT_FALSE(doc.contains("refused"));
}

TEST(RowErrorJson, ARefusalHasNullFiguresAndSaysWhy) {
  row_error_result result;
  result.status = row_error_status::too_few_matches;
  result.threshold = 0.75;
  result.figures.matches = 12;
  result.message = "only 12 matches";
  const std::string doc = row_error_json(result).dump();
  const std::string head =
      R"({"matches":12,"mean_px":null,"rms_px":null,"p95_px":null,"max_px":null,"regions":)";
  const std::string tail = R"("threshold_px":0.75,"pass":false,"refused":"only 12 matches"})";
  ASSERT_GT(doc.size(), head.size() + tail.size());
  EXPECT_EQ(doc.substr(0, head.size()), head);
  EXPECT_EQ(doc.substr(doc.size() - tail.size()), tail);
}

}  // namespace
