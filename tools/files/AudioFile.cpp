#include "files/AudioFile.h"

#include <sndfile.h>

#include <array>
#include <system_error>

#include "files/Failure.h"
#include "files/FfmpegFile.h"
#include "platform/Platform.h"

namespace {

struct CloseSndfile {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

using Sndfile = std::unique_ptr<SNDFILE, CloseSndfile>;

/// The library's words for a container or a codec, without its remarks in brackets.
std::string nameOf(int format) {
  SF_FORMAT_INFO info{};
  info.format = format;
  const bool isKnown = sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0;
  const std::string name = isKnown && info.name != nullptr ? info.name : "";
  return name.substr(0, name.find(" ("));
}

/// What the codecs that matter are; all others are of no stated width and not lossy.
struct Codec {
  int subtype;
  int bits;
  bool isIntegerPcm;
  bool isLossy;
};

constexpr std::array codecs{
    Codec{SF_FORMAT_PCM_S8, 8, true, false},        Codec{SF_FORMAT_PCM_U8, 8, true, false},
    Codec{SF_FORMAT_PCM_16, 16, true, false},       Codec{SF_FORMAT_PCM_24, 24, true, false},
    Codec{SF_FORMAT_PCM_32, 32, true, false},       Codec{SF_FORMAT_FLOAT, 32, false, false},
    Codec{SF_FORMAT_DOUBLE, 64, false, false},      Codec{SF_FORMAT_ALAC_16, 16, false, false},
    Codec{SF_FORMAT_ALAC_20, 20, false, false},     Codec{SF_FORMAT_ALAC_24, 24, false, false},
    Codec{SF_FORMAT_ALAC_32, 32, false, false},     Codec{SF_FORMAT_VORBIS, 0, false, true},
    Codec{SF_FORMAT_OPUS, 0, false, true},          Codec{SF_FORMAT_MPEG_LAYER_I, 0, false, true},
    Codec{SF_FORMAT_MPEG_LAYER_II, 0, false, true}, Codec{SF_FORMAT_MPEG_LAYER_III, 0, false, true},
};

AudioFormat formatOf(const SF_INFO& info) {
  const int container = info.format & SF_FORMAT_TYPEMASK;
  const int subtype = info.format & SF_FORMAT_SUBMASK;
  AudioFormat format;
  format.container = nameOf(container);
  format.codec = nameOf(subtype);
  for (const Codec& codec : codecs) {
    if (codec.subtype == subtype) {
      format.bits = codec.bits;
      format.isIntegerPcm = codec.isIntegerPcm;
      format.isLossy = codec.isLossy;
    }
  }
  if (container == SF_FORMAT_WAV) {
    format.wavKind = WavKind::Plain;
  } else if (container == SF_FORMAT_WAVEX) {
    format.wavKind = WavKind::Extensible;
  }
  format.sampleRate = info.samplerate;
  format.channels = info.channels;
  format.frames = info.frames == SF_COUNT_MAX ? 0 : info.frames;
  return format;
}

/// A recording that libsndfile opens.
class SndfileFile : public AudioFile {
 public:
  SndfileFile(std::string name, Sndfile opened, const SF_INFO& info)
      : AudioFile(formatOf(info)), path(std::move(name)), sndfile(std::move(opened)) {}

  std::size_t read(float* samples, std::size_t frames) override {
    const platform::SilentStandardError duringDecoding;
    const sf_count_t count =
        sf_readf_float(sndfile.get(), samples, static_cast<sf_count_t>(frames));
    if (count <= 0 && sf_error(sndfile.get()) == SF_ERR_SYSTEM) {
      failReading(path, sf_strerror(sndfile.get()), "copy it to another disk and try that");
    }
    // What is damaged or cut off ends where it can't be decoded any more.
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

 private:
  std::string path;
  Sndfile sndfile;
};

/// Null where the library does not know the file.
Sndfile openSndfile(const platform::Descriptor& input, SF_INFO& info) {
  const platform::SilentStandardError duringOpening;
  // The library closes the descriptor of a file that it does not know, whatever it is told.
  return Sndfile(sf_open_fd(input.duplicate(), SFM_READ, &info, SF_TRUE));
}

platform::InputFile openInput(const std::string& path) {
  try {
    return platform::openInput(path);
  } catch (const platform::InputFault& fault) {
    failReading(path, fault.what(), fault.remedy);
  }
}

/// For what goes wrong around another program that decodes the file at `path`.
[[noreturn]] void failDecoding(const std::string& path, const std::system_error& error) {
  if (error.code() == std::errc::no_such_file_or_directory) {
    failReading(path, "it is none of the kinds that libsndfile knows",
                "install ffmpeg to read M4A and the like, or convert it to WAV");
  }
  failReading(path, "ffmpeg can't be started (" + error.code().message() + ")",
              "convert it to WAV");
}

}  // namespace

std::string inputName(const std::string& path) { return path == "-" ? "standard input" : path; }

void failReading(const std::string& path, const std::string& reason, const std::string& remedy) {
  throw Failure(Status::FileFault, "can't read " + inputName(path) + ": " + reason + "; " + remedy);
}

std::unique_ptr<AudioFile> AudioFile::open(const std::string& path) {
  const platform::InputFile input = openInput(path);
  SF_INFO info{};
  Sndfile sndfile = openSndfile(input.descriptor, info);
  if (sndfile != nullptr && info.channels > 0) {
    return std::make_unique<SndfileFile>(path, std::move(sndfile), info);
  }
  sndfile.reset();
  try {
    if (auto file = FfmpegFile::open(path, input)) {
      return file;
    }
  } catch (const std::system_error& error) {
    failDecoding(path, error);
  }
  failReading(path, "neither libsndfile nor ffmpeg finds sound in it", "export it as WAV or FLAC");
}
