#include <CLI/CLI.hpp>
#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "files/AudioFile.h"
#include "files/ConverterAnswer.h"
#include "files/Failure.h"
#include "files/OutputFiles.h"
#include "files/SysexFile.h"
#include "platform/Platform.h"
#include "recovery/Bank.h"
#include "recovery/DumpSearch.h"
#include "report/Report.h"
#include "report/Words.h"
#include "signal/DumpRecording.h"

namespace {

constexpr const char* programName = "Kestrel7TapeToSysex";
constexpr const char* programVersion = "Kestrel7TapeToSysex " KESTREL7_VERSION;

struct Options {
  std::vector<std::string> recordings;
  std::vector<std::string> outputs;  // .syx, .sysex or .wav
  std::string reportPath;            // empty for none
  std::string labelsPath;            // empty for none
  int dump = 0;                      // 1 is the first of a recording, 0 the best one
  bool force = false;
  bool json = false;
  bool quiet = false;
};

bool isSysexPath(const std::string& path) {
  return path.ends_with(".syx") || path.ends_with(".sysex");
}

/// Reads the command line into `options`. Returns what is asked for instead of a run, the help or
/// the version; otherwise nothing. Throws Failure.
std::string parse(int argc, char** argv, Options& options) {
  CLI::App app("Reads the 40 presets of a Kestrel7 from recordings of its cassette dump.",
               programName);
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", programVersion);
  app.set_help_flag("--help", "Print this help and exit");
  app.get_formatter()->column_width(24);
  app.get_formatter()->label("REQUIRED", "");
  app.add_option("RECORDING", options.recordings,
                 "Audio file, or - for standard input; several are takes of one dump")
      ->type_name("")
      ->required();
  app.add_option(
         "-o", options.outputs,
         "Write a SysEx bank (.syx, .sysex) or a clean recording (.wav); may be given twice")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_flag("--force", options.force, "Replace files that are there");
  app.add_flag("--json", options.json, "Print the report as JSON");
  app.add_option("--report", options.reportPath, "Write a report with pictures, an HTML page")
      ->type_name("FILE");
  app.add_option("--labels", options.labelsPath, "Write labels for Audacity")->type_name("FILE");
  app.add_option("--dump", options.dump, "Read dump N of the recording instead of the best one")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000));
  app.add_flag("--quiet", options.quiet, "Print nothing but errors, and JSON if asked for");
  // From the last to the first, as the parser wants it.
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) {
    const std::string argument = argv[i];
    // It would take "[a,b]" for two arguments.
    arguments.push_back((argument.starts_with('[') ? "./" : "") + argument);
  }
  try {
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    return app.help();
  } catch (const CLI::CallForVersion&) {
    return std::string(programVersion) + "\n";
  } catch (const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining();
    throw Failure(Status::WrongUsage,
                  unknown.empty() ? std::string(error.what()) + "; see --help"
                                  : unknown.front() + " is not an option; see --help, or write ./" +
                                        unknown.front() + " for a file of that name");
  }
  return "";
}

/// The files to be written, in the order of `contentsOf`.
OutputFiles checkedOutputs(const Options& options) {
  if (options.outputs.size() > 2) {
    throw Failure(Status::WrongUsage, "-o is given more than twice; see --help");
  }
  OutputFiles outputs(options.force);
  for (const std::string& path : options.outputs) {
    if (!isSysexPath(path) && !path.ends_with(".wav")) {
      throw Failure(Status::WrongUsage,
                    path + " does not end in .syx, .sysex or .wav; its name says what to write");
    }
    outputs.add(path, options.recordings);
  }
  for (const std::string& path : {options.reportPath, options.labelsPath}) {
    if (!path.empty()) {
      outputs.add(path, options.recordings);
    }
  }
  return outputs;
}

/// What to write, where there is a dump.
std::vector<std::string> contentsOf(const Options& options, const report::Results& results) {
  const PresetBank& bank = results.bank.bank;
  std::vector<std::string> contents;
  for (const std::string& path : options.outputs) {
    contents.push_back(isSysexPath(path) ? sysexBankFile(bank)
                                         : dumpRecording({bank.data(), bank.size()}));
  }
  if (!options.reportPath.empty()) {
    contents.push_back(report::htmlReport(results));
  }
  if (!options.labelsPath.empty()) {
    contents.push_back(
        report::labels(results, static_cast<std::size_t>(report::recordingOfTake(results, 0))));
  }
  return contents;
}

/// A recording counted twice would make doubtful bits look sure.
[[noreturn]] void failRepeated(const std::string& second, const std::string& first) {
  throw Failure(Status::WrongUsage, inputName(second) + " is the same recording as " +
                                        inputName(first) + "; name it once");
}

void refuseSameFiles(const std::vector<std::string>& recordings) {
  for (auto first = recordings.begin(); first != recordings.end(); ++first) {
    for (auto second = first + 1; second != recordings.end(); ++second) {
      if (*first == *second || isReadFrom(*first, *second) || isReadFrom(*second, *first)) {
        failRepeated(*second, *first);
      }
    }
  }
}

/// What tells the samples of one recording from those of any other.
class SampleDigest {
 public:
  void add(std::span<const float> samples) {
    for (const float sample : samples) {
      value = (value ^ std::bit_cast<std::uint32_t>(sample)) * prime;
    }
  }

  bool operator==(const SampleDigest&) const = default;

 private:
  // FNV-1a, a sample at a time
  static constexpr std::uint64_t prime = 0x100000001B3;
  std::uint64_t value = 0xCBF29CE484222325;
};

/// Tells on the terminal how far the search is, once it has taken longer than a second.
class Progress {
 public:
  explicit Progress(bool isWanted) : isShown(isWanted && platform::standardErrorIsTerminal()) {}
  ~Progress() {
    if (hasLine) {
      std::fprintf(stderr, "\r%*s\r", lineWidth, "");
    }
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void tell(const std::string& name, const AudioFormat& format, std::int64_t framesRead) {
    const auto now = std::chrono::steady_clock::now();
    if (!isShown || now < next) {
      return;
    }
    next = now + std::chrono::milliseconds(200);
    hasLine = true;
    const auto minutes = static_cast<int>(framesRead / format.sampleRate / 60);
    std::string line = std::to_string(minutes) + " minutes searched";
    if (format.frames > 0) {
      line = std::to_string(std::min<std::int64_t>(100, 100 * framesRead / format.frames)) +
             " % searched";
    }
    line = report::shortened(report::shown(name), lineWidth - 30) + ": " + line;
    std::fprintf(stderr, "\r%-*s", lineWidth, line.c_str());
  }

 private:
  static constexpr int lineWidth = 79;
  bool isShown;
  bool hasLine = false;
  std::chrono::steady_clock::time_point next =
      std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

/// Searches the whole of a recording for dumps. Adds all its samples to `digest`.
report::Recording search(AudioFile& file, const std::string& path, SampleDigest& digest,
                         Progress& progress) {
  constexpr std::size_t blockSize = 65536;  // samples
  const AudioFormat& format = file.format();
  const auto channels = static_cast<std::size_t>(format.channels);
  const std::size_t framesABlock = std::max<std::size_t>(1, blockSize / channels);
  std::vector<float> block(framesABlock * channels);

  recovery::DumpSearch dumps(format.sampleRate, format.channels);
  if (dumps.facts().channels == 0) {
    failReading(path,
                "a sample rate of " + std::to_string(format.sampleRate) + " Hz is out of range",
                "export it at 44,100 Hz");
  }
  std::int64_t framesRead = 0;
  while (const std::size_t frames = file.read(block.data(), framesABlock)) {
    dumps.add(block.data(), frames);
    digest.add({block.data(), frames * channels});
    framesRead += static_cast<std::int64_t>(frames);
    progress.tell(path, format, framesRead);
  }
  if (framesRead == 0) {
    failReading(path, "there is no sound in it", "export it as WAV or FLAC");
  }

  report::Recording recording;
  recording.name = path;
  recording.container = format.container;
  recording.codec = format.codec;
  recording.bits = format.bits;
  recording.isLossy = format.isLossy;
  recording.takes = dumps.finish();
  recording.facts = dumps.facts();
  return recording;
}

/// The index of the dump to read: the best one, or `dump` where that is not 0.
int choose(const report::Recording& recording, int dump) {
  const auto count = static_cast<int>(recording.takes.size());
  if (dump > count) {
    throw Failure(Status::NoDump, recording.name + ": there is no dump " + std::to_string(dump) +
                                      ", only " + std::to_string(count) + "; choose one of them");
  }
  return dump > 0 ? dump - 1 : recovery::bestTake(recording.takes);
}

/// Reads the bank from the dumps chosen. Throws Failure where they are not of one dump.
void readTogether(report::Results& results) {
  const recovery::DifferentDumps different = report::readBank(results);
  if (different.found()) {
    const auto& recordings = results.recordings;
    throw Failure(Status::WrongUsage,
                  recordings[static_cast<std::size_t>(different.first)].name + " and " +
                      recordings[static_cast<std::size_t>(different.second)].name +
                      " hold different dumps; read them one at a time");
  }
}

report::Results readRecordings(const Options& options) {
  // What can't be opened is refused before the long search of another begins.
  std::vector<std::unique_ptr<AudioFile>> files;
  for (const std::string& path : options.recordings) {
    files.push_back(AudioFile::open(path));
  }

  report::Results results;
  results.program = programVersion;
  std::vector<SampleDigest> digests(files.size());
  {
    Progress progress(!options.quiet);
    for (std::size_t i = 0; i < files.size(); ++i) {
      results.recordings.push_back(search(*files[i], options.recordings[i], digests[i], progress));
      results.recordings.back().chosenTake = choose(results.recordings.back(), options.dump);
    }
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto same = std::find(digests.begin(), digests.end(), digests[i]) - digests.begin();
    if (static_cast<std::size_t>(same) < i) {
      failRepeated(options.recordings[i], options.recordings[static_cast<std::size_t>(same)]);
    }
  }
  readTogether(results);
  for (std::size_t i = 0; i < files.size(); ++i) {
    report::Recording& recording = results.recordings[i];
    recording.converter = askConverter(options.recordings[i], files[i]->format(), recording.take(),
                                       results.bank.bank);
  }
  return results;
}

void print(const std::string& text) {
  const bool isPrinted = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (std::fflush(stdout) != 0 || !isPrinted) {
    throw Failure(Status::FileFault, "can't write to standard output; look where it goes");
  }
}

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) {
    report::addToList(list, inputName(name));
  }
  return list;
}

Status run(const Options& options) {
  refuseSameFiles(options.recordings);
  const OutputFiles outputs = checkedOutputs(options);
  const report::Results results = readRecordings(options);
  if (results.hasDump()) {
    outputs.write(contentsOf(options, results));
  }
  if (options.json) {
    print(report::jsonReport(results));
  } else if (!options.quiet) {
    print(report::textReport(results));
  }
  if (!results.hasDump()) {
    throw Failure(Status::NoDump, "no dump found in " + joined(options.recordings) +
                                      "; listen for its two tones, and record it again");
  }
  return results.bank.count(recovery::Verdict::Sure) == presetCount ? Status::AllSure
                                                                    : Status::SomeNotSure;
}

int fail(Status status, const std::string& message) {
  // Names may hold anything, and the message is one line.
  std::fprintf(stderr, "%s: %s\n", programName, report::shown(message).c_str());
  return static_cast<int>(status);
}

}  // namespace

/// Reads the presets from recordings of a cassette dump, and writes them as a bank or a recording.
int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == loadAsConverterOption) {
    return loadAsConverter(argv[2]);
  }
  platform::holdStandardStreams();
  platform::ignoreWriteSignals();
  try {
    Options options;
    const std::string information = parse(argc, argv, options);
    if (!information.empty()) {
      print(information);
      return static_cast<int>(Status::AllSure);
    }
    return static_cast<int>(run(options));
  } catch (const Failure& failure) {
    return fail(failure.status, failure.what());
  } catch (const std::bad_alloc&) {
    return fail(Status::FileFault, "there is too little memory; end other programs");
  } catch (const std::exception& error) {
    return fail(Status::FileFault, error.what());
  }
}
