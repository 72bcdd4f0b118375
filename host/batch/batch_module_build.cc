// Builds a batch module's images in child processes and writes them together.
#include "host/batch/batch_module_build.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <system_error>

#include "deflash.h"
#include "host/base/outcome.h"
#include "host/batch/batch_request.h"
#include "host/batch/process_pool.h"
#include "host/images/image_builders.h"

namespace deflash_host {
namespace {

namespace fs = std::filesystem;

/// What an image child hands back: its exit status, what it printed on
/// standard error, and the image.
struct image_answer {
  int status = static_cast<int>(status::unusable);
  std::string messages;
  std::string image;
};

std::string encode_image_answer(const image_answer& answer) {
  return std::to_string(answer.status) + "\n" + std::to_string(answer.messages.size()) + "\n" +
         answer.messages + answer.image;
}

bool decode_image_answer(const std::string& text, image_answer& answer) {
  std::istringstream in(text);
  std::size_t message_bytes = 0;
  if (!(in >> answer.status >> message_bytes) || in.get() != '\n') return false;
  const auto start = static_cast<std::size_t>(in.tellg());
  if (start + message_bytes > text.size()) return false;
  answer.messages = text.substr(start, message_bytes);
  answer.image = text.substr(start + message_bytes);
  return true;
}

/// Runs `build`; the lines its outcome shows become the module's messages
/// instead of interleaving with the batch's progress.
image_answer answered(const std::function<outcome(std::string&)>& build) {
  image_answer answer;
  outcome result;
  try {
    result = build(answer.image);
  } catch (const std::exception& e) {
    result = fail(status::unusable, std::string("internal error: ") + e.what());
  }
  answer.status = static_cast<int>(result.state);
  for (const shown_line& line : shown_lines(result, verbosity::normal)) {
    answer.messages += line.text + "\n";
  }
  return answer;
}

calibration_source_options source_of(const batch_module& module, const batch_settings& settings) {
  calibration_source_options source;
  source.calibration_json = module.calibration;
  source.configs = module.configs;
  source.allow_implausible = settings.allow_implausible;
  return source;
}

/// The images a module has, by the name an image worker's request gives.
constexpr const char* kCalibImage = "calib";
constexpr const char* kStartRowImage = "startrow";
constexpr const char* kDeConfigImage = "deconfig";

std::string deconfig_scratch(const batch_module& module, const batch_settings& settings) {
  return (fs::path(settings.out_dir) / module.name / kDeConfigImageName).generic_string();
}

/// Loads the module's calibration and configurations, then runs `build` on
/// them: how each calibration image of a module starts.
outcome from_inputs(const calibration_source_options& source,
                    const std::function<outcome(const calibration_inputs&)>& build) {
  calibration_inputs inputs;
  outcome result = inputs.load(source);
  if (!result.ok()) return result;
  result.append(build(inputs));
  return result;
}

/// Builds the image the request names, in this process: the worker's side.
outcome build_image(const batch_request& request, std::string& image) {
  const batch_module& module = request.module;
  const batch_settings& settings = request.settings;
  const calibration_source_options source = source_of(module, settings);
  if (request.extra == kCalibImage) {
    return from_inputs(source, [&](const calibration_inputs& inputs) {
      if (module.has_serial) {
        set_soc_sn(module.serial.parts[0], module.serial.parts[1], module.serial.parts[2]);
      }
      return build_calib_image(inputs, settings.timestamp, source, image, nullptr);
    });
  }
  if (request.extra == kStartRowImage) {
    return from_inputs(source, [&](const calibration_inputs& inputs) {
      return build_startrow_image(inputs, source, image);
    });
  }
  if (request.extra == kDeConfigImage) {
    return build_deconfig_image(module.deconfig, deconfig_scratch(module, settings), image);
  }
  return fail(status::unusable, "internal error: no image called \"" + request.extra + "\"");
}

std::string run_image_request(const std::string& text) {
  batch_request request;
  if (!decode_request(text, request)) {
    return encode_image_answer(answered([](std::string&) {
      return fail(status::unusable, "internal error: the image worker's request did not read");
    }));
  }
  return encode_image_answer(
      answered([&request](std::string& image) { return build_image(request, image); }));
}

/// One image, built in a process of its own.
bool build_isolated(const char* which, const batch_module& module, const batch_settings& settings,
                    std::string& image, module_result& result) {
  image_answer answer;
  bool decoded = false;
  std::string how;
  std::string error;
  const batch_request request{module, settings, which};
  const bool ran = run_workers(
      1, 1, kBatchImageWorker, [&request](std::size_t) { return encode_request(request); },
      [&](std::size_t, const process_outcome& outcome) {
        decoded = outcome.finished && decode_image_answer(outcome.answer, answer);
        how = outcome.finished ? "handed back no answer" : outcome.how;
      },
      error);
  std::istringstream lines(answer.messages);
  std::string line;
  const std::string prefix = "deflash: ";
  while (std::getline(lines, line)) {
    if (line.rfind(prefix, 0) == 0) line.erase(0, prefix.size());
    if (line.empty()) continue;
    result.messages.push_back(line);
    if (line.rfind("warning: ", 0) != 0) result.error = line;
  }
  if (!ran) {
    result.error = error;
    return false;
  }
  if (!decoded) {
    result.error = "image builder " + how;
    return false;
  }
  if (answer.status != static_cast<int>(status::ok)) {
    if (result.error.empty())
      result.error = "image not built (status " + std::to_string(answer.status) + ")";
    return false;
  }
  image = std::move(answer.image);
  return true;
}

module_result build_and_write(const batch_module& module, const batch_settings& settings,
                              const fs::path& folder) {
  module_result result;
  if (!module.problem.empty()) {
    result.error = module.problem;
    result.messages.push_back(module.problem);
    return result;
  }
  const std::string deconfig_out = deconfig_scratch(module, settings);
  std::string calib_image;
  if (!build_isolated(kCalibImage, module, settings, calib_image, result)) return result;
  std::string startrow_image;
  if (!build_isolated(kStartRowImage, module, settings, startrow_image, result)) return result;
  std::string deconfig_image;
  if (module.has_deconfig &&
      !build_isolated(kDeConfigImage, module, settings, deconfig_image, result)) {
    return result;
  }

  std::vector<std::string> inputs = module.configs;
  inputs.push_back(module.calibration);
  std::vector<output_file> outputs{
      {(folder / kCalibImageName).generic_string(), calib_image},
      {(folder / kStartRowImageName).generic_string(), startrow_image}};
  if (module.has_deconfig) {
    for (const std::string& file : module.deconfig.files()) inputs.push_back(file);
    outputs.push_back({deconfig_out, deconfig_image});
  }
  std::string error;
  if (!write_outputs(inputs, outputs, settings.output, error)) {
    result.error = error;
    result.messages.push_back(error);
    return result;
  }
  for (const output_file& output : outputs) {
    result.outputs.push_back({output.path, output.bytes.size()});
  }
  result.written = true;
  return result;
}

}  // namespace

const worker_kind kBatchImageWorker{"batch-image", run_image_request};

module_result build_module(const batch_module& module, const batch_settings& settings) {
  const auto start = std::chrono::steady_clock::now();
  const fs::path folder = fs::path(settings.out_dir) / module.name;
  std::error_code ec;
  // The depth-engine image passes through a scratch file in the folder.
  const bool created = module.problem.empty() && fs::create_directory(folder, ec);
  module_result result;
  if (ec) {
    result.error = folder.generic_string() + ": cannot be created (" + ec.message() + ")";
    result.messages.push_back(result.error);
  } else {
    result = build_and_write(module, settings, folder);
  }
  // Only an empty folder goes: remove() leaves one with files in it.
  if (created && !result.written) fs::remove(folder, ec);
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return result;
}

std::string encode_result(const module_result& result) {
  nlohmann::json outputs = nlohmann::json::array();
  for (const written_file& file : result.outputs) {
    outputs.push_back({{"path", file.path}, {"bytes", file.bytes}});
  }
  const nlohmann::json line = {{"written", result.written},
                               {"outputs", outputs},
                               {"error", result.error},
                               {"messages", result.messages},
                               {"seconds", result.seconds}};
  // Paths and library lines are bytes; a stray non-UTF-8 byte must not lose the result.
  return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

bool decode_result(const std::string& text, module_result& result) {
  try {
    const nlohmann::json line = nlohmann::json::parse(text);
    result.written = line.at("written").get<bool>();
    result.outputs.clear();
    for (const nlohmann::json& file : line.at("outputs")) {
      result.outputs.push_back(
          {file.at("path").get<std::string>(), file.at("bytes").get<std::size_t>()});
    }
    result.error = line.at("error").get<std::string>();
    result.messages = line.at("messages").get<std::vector<std::string>>();
    result.seconds = line.at("seconds").get<double>();
    return true;
  } catch (const nlohmann::json::exception&) {
    return false;
  }
}

}  // namespace deflash_host
