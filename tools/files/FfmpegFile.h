#pragma once

#include <memory>
#include <string>

#include "files/AudioFile.h"
#include "platform/Platform.h"

/// A recording that the program ffmpeg decodes, such as M4A, in a child process.
class FfmpegFile : public AudioFile {
 public:
  /// Opens the first sound track of the recording at `path`, of which `input` is open. Returns null
  /// where ffmpeg finds none. Throws std::system_error, with
  /// std::errc::no_such_file_or_directory where ffmpeg is not installed.
  static std::unique_ptr<FfmpegFile> open(const std::string& path,
                                          const platform::InputFile& input);

  FfmpegFile(AudioFormat properties, const std::string& source, const platform::InputFile& input);

  std::size_t read(float* samples, std::size_t frames) override;

 private:
  platform::ChildProcess decoder;
};
