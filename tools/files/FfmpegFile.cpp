#include "files/FfmpegFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

static_assert(std::endian::native == std::endian::little,
              "samples are taken as ffmpeg writes them");

namespace {

/// The kinds of container that are opened. Not among them are playlists, which name other files.
constexpr const char* containers =
    "mov,mp4,m4a,3gp,3g2,mj2,aac,ac3,eac3,amr,ape,asf,avi,caf,dts,flac,flv,loas,matroska,webm,mp3,"
    "mpeg,mpegts,ogg,aiff,au,tta,w64,wav,wv";

constexpr std::array<std::string_view, 5> losslessCodecs{"alac", "ape", "flac", "tta", "wavpack"};

std::vector<std::string> command(const std::string& program,
                                 const std::vector<std::string>& arguments) {
  std::vector<std::string> words{
      program, "-v", "error", "-protocol_whitelist", "file", "-format_whitelist", containers};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

/// The properties of the first sound track, by ffprobe's names for them.
std::map<std::string, std::string> probe(const std::string& source,
                                         const platform::InputFile& input) {
  platform::ChildProcess ffprobe(
      command("ffprobe",
              {"-select_streams", "a:0", "-show_entries",
               "stream=codec_name,codec_long_name,sample_rate,channels:format=format_long_name",
               "-of", "default=noprint_wrappers=1", source}),
      input.descriptor);
  std::array<char, 4096> output{};
  std::istringstream lines(std::string(output.data(), ffprobe.read(output.data(), output.size())));
  std::map<std::string, std::string> properties;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t sign = line.find('=');
    if (sign != std::string::npos) {
      properties[line.substr(0, sign)] = line.substr(sign + 1);
    }
  }
  return properties;
}

bool isLossyCodec(const std::string& codec) {
  return !codec.starts_with("pcm_") && std::ranges::count(losslessCodecs, codec) == 0;
}

}  // namespace

std::unique_ptr<FfmpegFile> FfmpegFile::open(const std::string& path,
                                             const platform::InputFile& input) {
  // The prefix keeps names with a ":" or a leading "-" from being taken for something else.
  const std::string source = "file:" + (input.isCopy ? "/dev/stdin" : path);
  std::map<std::string, std::string> properties = probe(source, input);
  AudioFormat format;
  format.sampleRate = std::atoi(properties["sample_rate"].c_str());
  format.channels = std::atoi(properties["channels"].c_str());
  if (format.sampleRate <= 0 || format.channels <= 0) {
    return nullptr;
  }
  format.container = properties["format_long_name"];
  format.codec = properties["codec_long_name"];
  format.isLossy = isLossyCodec(properties["codec_name"]);
  return std::make_unique<FfmpegFile>(std::move(format), source, input);
}

FfmpegFile::FfmpegFile(AudioFormat properties, const std::string& source,
                       const platform::InputFile& input)
    : AudioFile(std::move(properties)),
      decoder(command("ffmpeg",
                      {"-i", source, "-map", "0:a:0", "-ar", std::to_string(format().sampleRate),
                       "-ac", std::to_string(format().channels), "-f", "f32le", "pipe:1"}),
              input.descriptor) {}

std::size_t FfmpegFile::read(float* samples, std::size_t frames) {
  const std::size_t frameSize = static_cast<std::size_t>(format().channels) * sizeof(float);
  return decoder.read(reinterpret_cast<char*>(samples), frames * frameSize) / frameSize;
}
