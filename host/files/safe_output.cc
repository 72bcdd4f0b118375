// Temporary file, sync and rename for every output of a command.
#include "host/files/safe_output.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <future>
#include <random>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace deflash_host {
namespace {

namespace fs = std::filesystem;

std::string cannot_write(const std::string& path, const std::string& reason) {
  return path + ": cannot be written (" + reason + ")";
}

/// What a path names on disk, seen through links: same `id` means the same
/// file, whatever the spelling of the path or a hard link.
struct file_identity {
  bool exists = false;
  bool regular = false;
  bool is_link = false;
  unsigned long long device = 0;
  unsigned long long inode = 0;
  std::string canonical;
};

/// The file a chain of symbolic links at `link` ends at, which need not
/// exist yet (a dangling link names the file to create); empty when the
/// chain goes round in a loop.
fs::path link_end(const fs::path& link) {
  // The system's own limit on links followed in one path (SYMLOOP_MAX).
  constexpr int kMaxLinkHops = 40;
  std::error_code ec;
  fs::path at = fs::absolute(link, ec);
  for (int hop = 0; hop < kMaxLinkHops; ++hop) {
    if (!fs::is_symlink(fs::symlink_status(at, ec))) {
      const fs::path end = fs::weakly_canonical(at, ec);
      return ec ? at.lexically_normal() : end;
    }
    const fs::path next = fs::read_symlink(at, ec);
    if (ec) return fs::path();
    at = next.is_absolute() ? next : at.parent_path() / next;
  }
  return fs::path();
}

file_identity identify(const std::string& path) {
  file_identity id;
  std::error_code ec;
  id.is_link = fs::is_symlink(fs::symlink_status(path, ec));
  if (id.is_link) {
    // weakly_canonical leaves a dangling link's last step unresolved; follow
    // it, so that --force writes the file the link names and keeps the link.
    id.canonical = link_end(path).string();
  } else {
    const fs::path canonical = fs::weakly_canonical(fs::absolute(path, ec), ec);
    id.canonical = ec ? fs::absolute(path, ec).lexically_normal().string() : canonical.string();
  }
#ifdef _WIN32
  struct _stat64 st {};
  if (_stat64(path.c_str(), &st) != 0) return id;
#else
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return id;
#endif
  id.exists = true;
  id.regular = (st.st_mode & S_IFMT) == S_IFREG;
  id.device = static_cast<unsigned long long>(st.st_dev);
  id.inode = static_cast<unsigned long long>(st.st_ino);
  return id;
}

bool same_file(const file_identity& a, const file_identity& b) {
#ifndef _WIN32
  // Inode numbers are not meaningful on Windows' C runtime; paths decide there.
  if (a.exists && b.exists) return a.device == b.device && a.inode == b.inode;
#endif
  return a.canonical == b.canonical;
}

/// Creates a new file next to `target` that no other process and no earlier
/// run owns, so a leftover "<out>.partial" of someone else is never touched.
bool create_temporary(const fs::path& target, std::string& temporary, std::FILE*& file,
                      std::string& reason) {
  std::random_device seed;
  std::mt19937_64 random(seed());
  const fs::path folder = target.parent_path().empty() ? fs::path(".") : target.parent_path();
  for (int attempt = 0; attempt < 32; ++attempt) {
    char suffix[24];
    std::snprintf(suffix, sizeof suffix, "%08llx",
                  static_cast<unsigned long long>(random() & 0xFFFFFFFFull));
    const fs::path candidate =
        folder / ("." + target.filename().string() + ".deflash-" + suffix + ".tmp");
#ifdef _WIN32
    const int fd = _open(candidate.string().c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY,
                         _S_IREAD | _S_IWRITE);
#else
    const int fd = ::open(candidate.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
#endif
    if (fd < 0) {
      if (errno == EEXIST) continue;
      reason = std::strerror(errno);
      return false;
    }
#ifdef _WIN32
    file = _fdopen(fd, "wb");
#else
    file = ::fdopen(fd, "wb");
#endif
    if (file == nullptr) {
      reason = std::strerror(errno);
      return false;
    }
    temporary = candidate.string();
    return true;
  }
  reason = "no free temporary name";
  return false;
}

/// Writes, flushes and syncs: a full disk shows at the latest in the sync,
/// before anything was renamed.
bool write_and_sync(std::FILE* file, const std::string& bytes, std::string& reason) {
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  ok = ok && std::fflush(file) == 0;
#ifdef _WIN32
  ok = ok && _commit(_fileno(file)) == 0;
#else
  ok = ok && ::fsync(fileno(file)) == 0;
#endif
  if (!ok) reason = std::strerror(errno);
  if (std::fclose(file) != 0 && ok) {
    ok = false;
    reason = std::strerror(errno);
  }
  return ok;
}

bool replace(const std::string& temporary, const std::string& target, std::string& reason) {
#ifdef _WIN32
  if (MoveFileExA(temporary.c_str(), target.c_str(),
                  MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
    return true;
  }
  reason = "rename failed, Windows error " + std::to_string(GetLastError());
  return false;
#else
  if (std::rename(temporary.c_str(), target.c_str()) == 0) return true;
  reason = std::strerror(errno);
  return false;
#endif
}

}  // namespace

std::string reserve_temporary(const std::string& target, std::string& error) {
  std::string temporary;
  std::FILE* file = nullptr;
  std::string reason;
  if (!create_temporary(fs::path(target), temporary, file, reason)) {
    error = cannot_write(target, reason);
    return std::string();
  }
  std::fclose(file);
  return temporary;
}

std::string temporary_folder_path(const std::string& name, std::string& error) {
  std::error_code ec;
  const fs::path folder = fs::temp_directory_path(ec);
  if (!ec) return (folder / name).string();
    // Name what the temporary folder came from, as the standard library chose it.
#ifdef _WIN32
  error = "the temporary folder cannot be used (" + ec.message() + ")";
#else
  std::string source = "/tmp";
  for (const char* variable : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
    if (const char* value = std::getenv(variable)) {
      source = std::string(variable) + "=" + value;
      break;
    }
  }
  error = source + ": cannot be used as the temporary folder (" + ec.message() + ")";
#endif
  return std::string();
}

bool write_outputs(const std::vector<std::string>& inputs, const std::vector<output_file>& outputs,
                   const output_options& options, std::string& error) {
  std::vector<file_identity> inputs_seen;
  inputs_seen.reserve(inputs.size());
  for (const std::string& input : inputs) inputs_seen.push_back(identify(input));

  // Every refusal comes before the first byte is written.
  std::vector<file_identity> outputs_seen;
  std::vector<std::string> targets;
  for (const output_file& output : outputs) {
    if (output.path.empty()) {
      error = "an output path is empty";
      return false;
    }
    const file_identity id = identify(output.path);
    if (id.is_link && !options.force) {
      error =
          cannot_write(output.path, "it is a symbolic link; --force writes to the file it names");
      return false;
    }
    if (id.is_link && id.canonical.empty()) {
      error = cannot_write(output.path, "its symbolic links go round in a loop");
      return false;
    }
    if (id.exists && !id.regular) {
      error = cannot_write(output.path, "it exists and is not a regular file");
      return false;
    }
    for (std::size_t i = 0; i < inputs_seen.size(); ++i) {
      if (same_file(id, inputs_seen[i])) {
        error = cannot_write(output.path, "it is the input " + inputs[i]);
        return false;
      }
    }
    for (std::size_t i = 0; i < outputs_seen.size(); ++i) {
      if (same_file(id, outputs_seen[i])) {
        error = cannot_write(output.path, "it is also the output " + outputs[i].path);
        return false;
      }
    }
    outputs_seen.push_back(id);
    // Through a link (with --force) the file it names is replaced, the link kept.
    targets.push_back(id.is_link ? id.canonical : output.path);
  }

  std::vector<std::string> temporaries;
  const auto remove_temporaries = [&temporaries] {
    for (const std::string& path : temporaries) std::remove(path.c_str());
  };
  std::vector<std::FILE*> files;
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    std::string temporary;
    std::FILE* file = nullptr;
    std::string reason;
    if (!create_temporary(fs::path(targets[i]), temporary, file, reason)) {
      for (std::FILE* created : files) std::fclose(created);
      remove_temporaries();
      error = cannot_write(outputs[i].path, reason);
      return false;
    }
    temporaries.push_back(temporary);
    files.push_back(file);
  }
  // The files are written and synced at once: each sync waits on the disk,
  // and a command that writes pictures writes several.
  std::vector<std::future<std::string>> writing;
  writing.reserve(outputs.size());
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    writing.push_back(std::async(std::launch::async, [file = files[i], &bytes = outputs[i].bytes] {
      std::string reason;
      return write_and_sync(file, bytes, reason) ? std::string() : reason;
    }));
  }
  std::vector<std::string> reasons;
  reasons.reserve(writing.size());
  for (std::future<std::string>& written : writing) reasons.push_back(written.get());
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    if (!reasons[i].empty()) {
      remove_temporaries();
      error = cannot_write(outputs[i].path, reasons[i]);
      return false;
    }
  }
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    std::string reason;
    if (!replace(temporaries[i], targets[i], reason)) {
      // Outputs renamed before this one stay in place: each is whole.
      for (std::size_t j = i; j < temporaries.size(); ++j) std::remove(temporaries[j].c_str());
      error = cannot_write(outputs[i].path, reason);
      return false;
    }
  }
  return true;
}

}  // namespace deflash_host
