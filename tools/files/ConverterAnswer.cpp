#include "files/ConverterAnswer.h"

#include <csignal>
#include <new>
#include <system_error>

#include "audio/WavLoader.h"
#include "platform/Platform.h"
#include "recovery/ConverterReading.h"
#include "report/Words.h"
#include "tape/TapeDataReader.h"

using report::ConverterAnswer;
using report::ConverterOutcome;

namespace {

enum LoadStatus { Loads, Rejects, LacksMemory };

/// Why the converter would not even try; empty where it loads the file.
std::string refusal(const std::string& path, const AudioFormat& format) {
  if (path.substr(path.rfind('.') + 1) != "wav") {
    return "its name does not end in .wav";
  }
  const platform::ChildEnd end =
      platform::ChildProcess({platform::ownProgram(), loadAsConverterOption, path}).wait();
  if (end.signal == SIGABRT) {
    return "it has 32 bits, which an assertion refuses";
  }
  if (end.signal == SIGFPE) {
    return "its header says 0 bytes a frame";
  }
  if (end.signal == 0 && end.status == Loads) {
    return "";
  }
  if (end.signal != 0 || end.status == LacksMemory) {
    return "it takes too much memory";
  }
  switch (format.wavKind) {
    case WavKind::NoWav:
      return "it is not a plain WAV file";
    case WavKind::Extensible:
      return "its header is of the extensible kind";
    case WavKind::Plain:
      break;
  }
  return format.isIntegerPcm ? "another chunk, such as LIST or bext, stands before its samples"
                             : "its samples are not integer PCM";
}

/// What keeps the converter from reading a file that it loads, apart from the signal itself.
std::string limits(const WavLoader& loader, const recovery::Take& take) {
  std::string found;
  if (loader.getSampleRate() != tapeSampleRate) {
    report::addToList(found, "it takes every rate for 44,100 Hz");
  }
  if (take.channelIndex != 0) {
    report::addToList(found, "it reads the first channel only");
  }
  if (take.bits.back().end * loader.getSampleRate() > loader.getNumberOfSamples()) {
    report::addToList(found, "it reads the first 16 MiB only");
  }
  return found;
}

}  // namespace

int loadAsConverter(const char* path) {
  platform::leaveNoCoreDump();
  try {
    return WavLoader().load(path) ? Loads : Rejects;
  } catch (const std::bad_alloc&) {
    return LacksMemory;
  }
}

ConverterAnswer askConverter(const std::string& path, const AudioFormat& format,
                             const recovery::Take* take, const PresetBank& bank) {
  ConverterAnswer answer;
  if (path == "-") {
    return answer;
  }
  try {
    answer.reason = refusal(path, format);
  } catch (const std::system_error&) {
    return answer;  // no process can be started, as where /proc is missing
  }
  if (!answer.reason.empty()) {
    answer.outcome = ConverterOutcome::Rejects;
    return answer;
  }
  if (take == nullptr) {
    return answer;
  }
  WavLoader loader;
  if (!loader.load(path.c_str()) || loader.getSampleRate() <= 0) {
    return answer;  // changed since it was asked for
  }
  const auto reading =
      recovery::readAsConverter(loader.getAudioBuffer(), loader.getNumberOfSamples(), bank);
  answer.isWrong = reading.isWrong;
  answer.dataStart = reading.dataStart * tapeSampleRate / loader.getSampleRate();
  const bool isRight = reading.wrongPresets == 0;
  answer.outcome = isRight ? ConverterOutcome::ReadsRight : ConverterOutcome::ReadsWrong;
  if (!isRight) {
    answer.reason = limits(loader, *take);
  }
  return answer;
}
