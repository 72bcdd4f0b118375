// Tests of `deflash batch`, run as a process: the same bytes as the single
// image commands, failures kept to their module, the report, manifest errors.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

namespace fs = std::filesystem;
using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::run_tool;
using deflash_test::temp_dir;
using deflash_test::tool_run;

// Windows takes a path from the root without a drive ("/work/...") on the
// drive of the manifest's folder, the temporary folder's: the manifests name
// the source tree with its drive.
const std::string kExampleModule =
    fs::absolute(DEFLASH_SOURCE_DIR "/examples/module").generic_string();
const std::string kCalibration = kExampleModule + "/calibration.json";
const std::string kCloseConfig = kExampleModule + "/calib_close.ini";
const std::string kLongConfig = kExampleModule + "/calib_long.ini";
const std::string kDpuClose = kExampleModule + "/dpu_close.ini";
const std::string kDpuLong = kExampleModule + "/dpu_long.ini";
const std::string kD2c = kExampleModule + "/d2c.ini";
const std::string kIrPre = kExampleModule + "/ir_pre.ini";
const std::string kGoldenData = DEFLASH_SOURCE_DIR "/tests/data/";

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

const std::string kSerial = "0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF";
const std::string kTimestamp = "1700000000";

/// The header of a manifest naming the example module's configuration files.
std::string manifest_header() {
  return "# the example module's configurations\n"
         "config = " +
         kCloseConfig + "\nconfig = " + kLongConfig + "\ndpu = " + kDpuClose +
         "\ndpu = " + kDpuLong + "\nd2c = " + kD2c + "\nir-pre = " + kIrPre + "\n\n";
}

/// Every file under `folder` (temporary files included), relative, sorted.
std::vector<std::string> files_under(const std::string& folder) {
  std::vector<std::string> files;
  if (!fs::exists(folder)) return files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    files.push_back(fs::relative(entry.path(), folder).generic_string() +
                    (entry.is_directory() ? "/" : ""));
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::string> module_files(const std::vector<std::string>& names) {
  std::vector<std::string> files;
  for (const std::string& name : names) {
    for (const char* file : {"/", "/calib.bin", "/deconfig.bin", "/startrow.bin"}) {
      files.push_back(name + file);
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

tool_run run_batch(const std::string& source, const std::string& out_dir,
                   const std::vector<std::string>& more = {}) {
  std::vector<std::string> args = {"batch", source,        "--out-dir",
                                   out_dir, "--timestamp", kTimestamp};
  args.insert(args.end(), more.begin(), more.end());
  return run_tool(args);
}

/// `text` with each number that has a decimal point (the time and the rate
/// of a summary, which vary from run to run) written as "*".
std::string without_timings(const std::string& text) {
  std::string shape;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t end = text.find_first_not_of("0123456789.", i);
    const std::size_t stop = end == std::string::npos ? text.size() : end;
    if (stop == i) {
      shape += text[i++];
      continue;
    }
    const std::string number = text.substr(i, stop - i);
    shape += number.find('.') == std::string::npos ? number : "*";
    i = stop;
  }
  return shape;
}

TEST(BatchCommand, WritesTheBytesOfCalibStartrowAndDeconfig) {
  temp_dir dir;
  const std::string manifest =
      dir.write("modules.txt", manifest_header() + "unit1 " + kCalibration + " " + kSerial + "\n");
  const tool_run batch = run_batch(manifest, dir.file("out"), {"--jobs", "1"});
  ASSERT_EQ(batch.exit_code, 0) << batch.err;
  EXPECT_EQ(batch.err, "");

  const tool_run calib = run_tool({"calib", "--calibration", kCalibration, "--config", kCloseConfig,
                                   "--config", kLongConfig, "--timestamp", kTimestamp, "--sn",
                                   kSerial, "--out", dir.file("calib.bin")});
  const tool_run startrow =
      run_tool({"startrow", "--calibration", kCalibration, "--config", kCloseConfig, "--config",
                kLongConfig, "--out", dir.file("startrow.bin")});
  const tool_run deconfig = run_tool({"deconfig", "--dpu", kDpuClose, "--dpu", kDpuLong, "--d2c",
                                      kD2c, "--ir-pre", kIrPre, "--out", dir.file("deconfig.bin")});
  ASSERT_EQ(calib.exit_code + startrow.exit_code + deconfig.exit_code, 0);
  for (const char* image : {"calib.bin", "startrow.bin", "deconfig.bin"}) {
    const std::vector<uint8_t> single = read_file(dir.file(image));
    ASSERT_FALSE(single.empty()) << image;
    EXPECT_EQ(read_file(dir.file("out/unit1/") + image), single) << image;
  }
  // The example module with this serial and time stamp is the golden set.
  EXPECT_EQ(read_file(dir.file("out/unit1/calib.bin")),
            read_file(kGoldenData + "calib_example.bin"));
  EXPECT_EQ(read_file(dir.file("out/unit1/startrow.bin")),
            read_file(kGoldenData + "startrow_example.bin"));
  EXPECT_EQ(read_file(dir.file("out/unit1/deconfig.bin")),
            read_file(kGoldenData + "de_config_example.bin"));
}

TEST(BatchCommand, WritesTheLibrarysInitialSerialForAModuleWithoutOne) {
  temp_dir dir;
  // The module without a serial runs after one with a serial: the serial
  // must not carry over from one module to the next.
  const std::string manifest =
      dir.write("modules.txt", manifest_header() + "a " + kCalibration + " " + kSerial + "\nb " +
                                   kCalibration + "\n");
  const tool_run batch = run_batch(manifest, dir.file("out"), {"--jobs", "1"});
  ASSERT_EQ(batch.exit_code, 0) << batch.err;
  const tool_run calib =
      run_tool({"calib", "--calibration", kCalibration, "--config", kCloseConfig, "--config",
                kLongConfig, "--timestamp", kTimestamp, "--out", dir.file("calib.bin")});
  ASSERT_EQ(calib.exit_code, 0) << calib.err;
  EXPECT_EQ(read_file(dir.file("out/b/calib.bin")), read_file(dir.file("calib.bin")));
  EXPECT_NE(read_file(dir.file("out/a/calib.bin")), read_file(dir.file("calib.bin")));
}

TEST(BatchCommand, ReportsAModuleWithBadJsonAndBuildsTheOthers) {
  temp_dir dir;
  const std::string bad = dir.write("bad.json", "{\"left_ir\": 3");
  const std::string manifest =
      dir.write("modules.txt", manifest_header() + "m1 " + kCalibration + "\nm2 bad.json\nm3 " +
                                   kCalibration + " " + kSerial + "\n");
  const tool_run run = run_batch(manifest, dir.file("out"), {"--jobs", "1"});
  EXPECT_EQ(run.exit_code, kExitFailure);
  const std::string why = bad +
                          ": not valid JSON: parse error at line 1, column 14: syntax error while "
                          "parsing object - unexpected end of input; expected '}'";
  EXPECT_EQ(run.err, "deflash: m2: " + why + "\n");
  const std::string progress = "[1/3] m1: written\n[2/3] m2: failed\n[3/3] m3: written\n";
  ASSERT_EQ(run.out.substr(0, progress.size()), progress);
  const std::string rest = run.out.substr(progress.size());
  EXPECT_EQ(without_timings(rest),
            "batch: 3 modules, 2 written, 1 failed in * s (* modules/s, 1 job)\n"
            "failed: m2: " +
                without_timings(why) + "\n");
  // No folder, no temporary file of the failed module; the others whole.
  EXPECT_EQ(files_under(dir.file("out")), module_files({"m1", "m3"}));
  EXPECT_EQ(read_file(dir.file("out/m1/startrow.bin")).size(), 16384u);
}

TEST(BatchCommand, WritesNothingOfAModuleWhoseLastImageFails) {
  temp_dir dir;
  const std::string folders = dir.file("modules");
  fs::create_directories(folders + "/m1");
  fs::create_directories(folders + "/m2");
  for (const std::string& config : {kCloseConfig, kLongConfig, kDpuClose, kDpuLong, kD2c, kIrPre}) {
    fs::copy_file(config, folders + "/" + fs::path(config).filename().string());
  }
  fs::copy_file(kCalibration, folders + "/m1/calibration.json");
  fs::copy_file(kCalibration, folders + "/m2/calibration.json");
  // m2's own D2C file: its calibration and start-row images build, the
  // depth-engine image does not, so none of the three may appear.
  dir.write("modules/m2/d2c.ini", "[basic]\n");
  const tool_run run = run_batch(folders, dir.file("out"), {"--jobs", "2"});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: m2: " + folders +
                         "/m2/d2c.ini: not a D2C configuration: section [basic] is missing or "
                         "empty\n");
  EXPECT_EQ(files_under(dir.file("out")), module_files({"m1"}));
}

TEST(BatchCommand, WritesAReport) {
  temp_dir dir;
  dir.write("bad.json", "[]");
  const std::string manifest =
      dir.write("modules.txt", manifest_header() + "good " + kCalibration + "\nbad bad.json\n");
  const tool_run run =
      run_batch(manifest, dir.file("out"), {"--jobs", "2", "--report", dir.file("report.json")});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_NE(run.out.find("wrote " + dir.file("report.json") + "\n"), std::string::npos);
  const std::vector<uint8_t> bytes = read_file(dir.file("report.json"));
  const nlohmann::json report = nlohmann::json::parse(bytes.begin(), bytes.end());
  EXPECT_EQ(report["modules"], 2);
  EXPECT_EQ(report["written"], 1);
  EXPECT_EQ(report["failed"], 1);
  EXPECT_EQ(report["jobs"], 2);
  EXPECT_EQ(report["timestamp"], 1700000000);
  EXPECT_GT(report["seconds"].get<double>(), 0);
  EXPECT_NEAR(report["modules_per_second"].get<double>(), 2 / report["seconds"].get<double>(),
              1e-6);
  ASSERT_EQ(report["results"].size(), 2u);
  const nlohmann::json& good = report["results"][0];
  EXPECT_EQ(good["name"], "good");
  EXPECT_EQ(good["status"], "written");
  EXPECT_EQ(good["outputs"], nlohmann::json::parse(R"([{"path": ")" + dir.file("out") +
                                                   R"(/good/calib.bin", "bytes": 20480},
                                     {"path": ")" + dir.file("out") +
                                                   R"(/good/startrow.bin", "bytes": 16384},
                                     {"path": ")" + dir.file("out") +
                                                   R"(/good/deconfig.bin", "bytes": 16384}])"));
  EXPECT_FALSE(good.contains("error"));
  EXPECT_EQ(good["messages"], nlohmann::json::array());
  const nlohmann::json& failed = report["results"][1];
  EXPECT_EQ(failed["name"], "bad");
  EXPECT_EQ(failed["status"], "failed");
  EXPECT_EQ(failed["outputs"], nlohmann::json::array());
  EXPECT_EQ(failed["error"], dir.file("bad.json") + ": the top level must be a JSON object");
  EXPECT_EQ(failed["messages"], nlohmann::json::array({dir.file("bad.json") +
                                                       ": the top level must be a JSON object"}));
}

TEST(BatchCommand, WritesTheSameFilesWithOneAndTwoJobs) {
  temp_dir dir;
  std::string lines = manifest_header();
  for (int i = 0; i < 6; ++i) {
    char serial[64];
    std::snprintf(serial, sizeof serial, "%016X,%016X,%016X", i, 7919 * i, 0xABCD00 + i);
    lines += "unit" + std::to_string(i) + " " + kCalibration + (i == 3 ? "" : " ") +
             (i == 3 ? "" : serial) + "\n";
  }
  const std::string manifest = dir.write("modules.txt", lines);
  ASSERT_EQ(run_batch(manifest, dir.file("one"), {"--jobs", "1"}).exit_code, 0);
  ASSERT_EQ(run_batch(manifest, dir.file("two"), {"--jobs", "2"}).exit_code, 0);
  const std::vector<std::string> files = files_under(dir.file("one"));
  ASSERT_EQ(files, module_files({"unit0", "unit1", "unit2", "unit3", "unit4", "unit5"}));
  EXPECT_EQ(files_under(dir.file("two")), files);
  for (const std::string& file : files) {
    if (file.back() == '/') continue;
    EXPECT_EQ(read_file(dir.file("one/" + file)), read_file(dir.file("two/" + file))) << file;
  }
  EXPECT_NE(read_file(dir.file("one/unit1/calib.bin")), read_file(dir.file("one/unit2/calib.bin")));
}

TEST(BatchCommand, ReadsModuleFoldersWithTheirSerials) {
  temp_dir dir;
  const std::string folders = dir.file("modules");
  for (const char* name : {"b", "a", "c"}) {
    fs::create_directories(folders + "/" + name);
    fs::copy_file(kCalibration, folders + "/" + name + "/calibration.json");
  }
  dir.write("modules/a/serial.txt", kSerial + "\r\n");
  dir.write("modules/c/serial.txt", "0011223344556677\n");
  // The output folder inside the batch folder is not a module.
  const tool_run run =
      run_batch(folders, folders + "/out",
                {"--jobs", "1", "--config", kCloseConfig, "--config", kLongConfig, "--dpu",
                 kDpuClose, "--dpu", kDpuLong, "--d2c", kD2c, "--ir-pre", kIrPre});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: c: " + folders +
                         "/c/serial.txt:1: serial number \"0011223344556677\" must be three "
                         "parts of 16 hex digits, separated by commas\n");
  const std::string progress = "[1/3] a: written\n[2/3] b: written\n[3/3] c: failed\n";
  EXPECT_EQ(run.out.substr(0, progress.size()), progress);
  EXPECT_EQ(read_file(folders + "/out/a/calib.bin"), read_file(kGoldenData + "calib_example.bin"));
  EXPECT_EQ(files_under(folders + "/out"), module_files({"a", "b"}));
}

struct manifest_case {
  const char* name;
  std::string text;
  std::string error;  ///< after "deflash: <manifest>"
};

class BatchManifest : public ::testing::TestWithParam<manifest_case> {};

TEST_P(BatchManifest, NamesTheFileAndLineOfAMistakeAndWritesNothing) {
  temp_dir dir;
  const std::string manifest = dir.write("modules.txt", GetParam().text);
  const tool_run run = run_batch(manifest, dir.file("out"));
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "deflash: " + manifest + GetParam().error + "\n");
  EXPECT_FALSE(file_exists(dir.file("out")));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, BatchManifest,
    ::testing::Values(
        manifest_case{"UnknownSetting", "config = a.ini\nmodes = 2\n",
                      ":2: unknown setting \"modes\" (config, dpu, d2c or ir-pre)"},
        manifest_case{"SettingAfterAModule", "config = a.ini\nm1 a.json\nd2c = d.ini\n",
                      ":3: settings go before the first module"},
        manifest_case{"SettingWithoutAFile", "config =\n", ":1: setting \"config\" has no file"},
        manifest_case{"D2cTwice", "d2c = a.ini\nd2c = b.ini\n",
                      ":2: setting \"d2c\" is given twice"},
        manifest_case{"ModuleWithoutCalibration", "config = a.ini\n\n  m1\n",
                      ":3: module \"m1\" has no calibration file"},
        manifest_case{"TooManyFields", "config = a.ini\nm1 a.json 00 extra\n",
                      ":2: a module line is NAME CALIBRATION.json [SERIAL]"},
        manifest_case{"BadName", "config = a.ini\n../m1 a.json\n",
                      ":2: module name \"../m1\" must be letters, digits, '.', '-' or '_' (it "
                      "names the module's output folder)"},
        manifest_case{"RepeatedName", "config = a.ini\n# one\nUnit a.json\nunit b.json\n",
                      ":4: module name \"unit\" repeats line 3"},
        manifest_case{"BadSerial", "config = a.ini\nm1 a.json 0011223344556677,8899\n",
                      ":2: serial number \"0011223344556677,8899\" must be three parts of 16 "
                      "hex digits, separated by commas"},
        manifest_case{"NoModules", "config = a.ini\n# none yet\n",
                      ": no modules (a module line is NAME CALIBRATION.json [SERIAL])"},
        manifest_case{"NoConfiguration", "m1 a.json\n",
                      ": no calibration configuration: give \"config = INI\" lines or --config"},
        manifest_case{"HalfADepthEngineSet", "config = a.ini\nd2c = d.ini\nm1 a.json\n",
                      ": the depth-engine image needs both a D2C and an IR pre-ISP file: give "
                      "\"d2c = INI\" and \"ir-pre = INI\""}),
    [](const ::testing::TestParamInfo<manifest_case>& info) { return info.param.name; });

TEST(BatchCommand, RefusesAJobCountOfZero) {
  temp_dir dir;
  const tool_run run = run_batch(dir.write("m.txt", "x"), dir.file("out"), {"--jobs", "0"});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --jobs 0 must be a whole number from 1 to 256\n");
}

TEST(BatchCommand, RefusesAReportInAFolderThatIsNotThere) {
  temp_dir dir;
  const std::string manifest =
      dir.write("modules.txt", manifest_header() + "m1 " + kCalibration + "\n");
  const tool_run run =
      run_batch(manifest, dir.file("out"), {"--report", dir.file("no/report.json")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: " + dir.file("no/report.json") + ": cannot be written (no folder " +
                         dir.file("no") + ")\n");
  EXPECT_FALSE(file_exists(dir.file("out")));
}

TEST(BatchCommand, TakesManifestPathsFromTheManifestsFolder) {
  temp_dir dir;
  fs::create_directories(dir.file("lists/cal"));
  fs::copy_file(kCalibration, dir.file("lists/cal/m1.json"));
  const std::string manifest =
      dir.write("lists/modules.txt", manifest_header() + "m1 cal/m1.json " + kSerial + "\n");
  const tool_run run = run_batch(manifest, dir.file("out"), {"--jobs", "1"});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(read_file(dir.file("out/m1/calib.bin")), read_file(kGoldenData + "calib_example.bin"));
}

TEST(BatchCommand, WritesAReportIntoTheOutputFolderItCreates) {
  temp_dir dir;
  const std::string manifest =
      dir.write("modules.txt", manifest_header() + "m1 " + kCalibration + "\n");
  const tool_run run = run_batch(manifest, dir.file("out"),
                                 {"--jobs", "1", "--report", dir.file("out/report.json")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  const std::vector<uint8_t> bytes = read_file(dir.file("out/report.json"));
  const nlohmann::json report = nlohmann::json::parse(bytes.begin(), bytes.end());
  EXPECT_EQ(report["written"], 1);
  EXPECT_FALSE(report.contains("interrupted"));
}

// Interrupting a batch: POSIX signals sent to the driver. (Windows sends a
// console control event to a whole console, which a test cannot aim at one
// process under Wine.)
#ifndef _WIN32

/// Every regular file under `folder` with its bytes.
std::vector<std::pair<std::string, std::vector<uint8_t>>> contents(const std::string& folder) {
  std::vector<std::pair<std::string, std::vector<uint8_t>>> files;
  for (const std::string& file : files_under(folder)) {
    if (file.back() != '/') files.emplace_back(file, read_file(folder + "/" + file));
  }
  return files;
}

/// Starts the tool with `args`, its standard output into `out`; the pid.
pid_t start_tool(const std::vector<std::string>& args, const std::string& out) {
  const pid_t pid = fork();
  if (pid == 0) {
    const int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(fd, STDOUT_FILENO);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDERR_FILENO);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(DEFLASH_CLI_PATH));
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(DEFLASH_CLI_PATH, argv.data());
    _exit(127);
  }
  return pid;
}

TEST(BatchCommand, StopsOnASignalAndReportsWhatFinished) {
  constexpr int kModules = 40;
  // Bounded wait for the first module: the machine may be slow and shared.
  constexpr auto kFirstModuleTimeout = std::chrono::seconds(60);
  for (const int signal_number : {SIGINT, SIGTERM}) {
    temp_dir dir;
    std::string lines = manifest_header();
    for (int i = 0; i < kModules; ++i) lines += "u" + std::to_string(i) + " " + kCalibration + "\n";
    const std::string manifest = dir.write("modules.txt", lines);
    const std::string out = dir.file("stdout.txt");
    const pid_t pid = start_tool({"batch", manifest, "--out-dir", dir.file("out"), "--jobs", "1",
                                  "--timestamp", kTimestamp, "--report", dir.file("report.json")},
                                 out);
    ASSERT_GT(pid, 0);
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < kFirstModuleTimeout) {
      const std::vector<uint8_t> bytes = read_file(out);
      if (std::string(bytes.begin(), bytes.end()).find("[1/") != std::string::npos) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid, signal_number);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);

    // Nothing is written after the driver ends.
    const auto after_exit = contents(dir.file("out"));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(contents(dir.file("out")), after_exit);

    const std::vector<uint8_t> bytes = read_file(dir.file("report.json"));
    const nlohmann::json report = nlohmann::json::parse(bytes.begin(), bytes.end());
    const std::string name = signal_number == SIGINT ? "SIGINT" : "SIGTERM";
    EXPECT_EQ(report["interrupted"], name);
    const int written = report["written"];
    const int not_started = report["not_started"];
    EXPECT_GE(written, 1);
    EXPECT_GE(not_started, 1);
    EXPECT_EQ(written + report["failed"].get<int>() + not_started, kModules);
    std::vector<std::string> built;
    for (const nlohmann::json& result : report["results"]) {
      if (result["status"] == "written") built.push_back(result["name"]);
      if (result["status"] == "not started") {
        EXPECT_FALSE(fs::exists(dir.file("out/") + result["name"].get<std::string>()));
      }
    }
    EXPECT_EQ(files_under(dir.file("out")), module_files(built));
    const std::vector<uint8_t> shown = read_file(out);
    EXPECT_NE(std::string(shown.begin(), shown.end())
                  .find("batch: interrupted by " + name + "; " + std::to_string(not_started) +
                        " modules not started\n"),
              std::string::npos);
  }
}

#endif  // _WIN32

}  // namespace
