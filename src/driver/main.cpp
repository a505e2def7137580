#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "audio/WavLoader.h"
#include "preset/K7_PresetRevisionConverter.h"
#include "preset/Kestrel7SysexReaderWriter.h"
#include "preset/PresetBank.h"
#include "tape/TapeDataReader.h"
#include "transfer/writeTransferFiles.h"

namespace {

constexpr int failureStatus = -1;

struct Options {
  bool convertToRev3 = false;
  bool checkWavFormat = false;
};

/// Prints the usage, which is fixed text. -R3 stands in it but is no option: revision-3 data need
/// no conversion.
void printUsage() {
  std::printf(
      "usage: Kestrel7ToTransferFiles [44.1k wav file or SysexFile] outputFolder -R1/2/3\n");
  std::printf("or\n");
  std::printf("usage: Kestrel7ToTransferFiles [wav file] outputFolder -CheckWavFormat\n");
}

/// Looks for options among all arguments, the program's own name and the two paths included, and
/// ignores the rest.
Options scanOptions(int argc, char** argv) {
  Options options;
  for (int i = 0; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "-R1" || argument == "-R2") {
      options.convertToRev3 = true;
    } else if (argument == "-CheckWavFormat") {
      options.checkWavFormat = true;
    }
  }
  return options;
}

/// What follows the last "." of the whole path, folders included, in upper or lower case as it
/// stands. Without a "." it is the whole path, so a file named "wav" is a recording.
std::string extensionOf(const std::string& path) { return path.substr(path.rfind('.') + 1); }

/// Prints a progress line at once: it must not appear after what its step prints or does.
void printProgress(const char* line) {
  std::printf("%s", line);
  std::fflush(stdout);
}

void printCannotOpen(const std::string& path) { std::printf("can't open %s\n", path.c_str()); }

/// Ends the process if the recording at `path` can't be opened. The status is 0 on purpose: scripts
/// rely on it, as they do on -1 for a SysEx bank.
void requireRecording(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    printCannotOpen(path);
    std::exit(EXIT_SUCCESS);
  }
  std::fclose(file);
}

/// Prints the format of the recording and writes the verdict on its sample rate to "format" in
/// `outputFolder`; any bit depth will do. Returns the exit status.
int reportWavFormat(const WavLoader& loader, const std::string& outputFolder) {
  const std::string reportPath = outputFolder + "/" + "format";
  std::FILE* report = std::fopen(reportPath.c_str(), "w");
  if (report == nullptr) {
    printCannotOpen(reportPath);
    return failureStatus;
  }
  const int bitDepth = loader.getBitDepth();
  const int sampleRate = loader.getSampleRate();
  std::printf("Wav format -> SampleRate %d BitDepth %d\n", sampleRate, bitDepth);
  std::fprintf(
      report,
      sampleRate == tapeSampleRate ? "OK: SampleRate %d\n" : "WRONG SAMPLERATE: SampleRate %d\n",
      sampleRate);
  std::fclose(report);
  return EXIT_SUCCESS;
}

/// Decodes the first channel, at whatever sample rate it was recorded: only the format check looks
/// at the rate.
void decodeRecording(const WavLoader& loader, PresetBank& bank) {
  TapeDataReader reader;
  reader.readPresetData(loader.getAudioBuffer(), loader.getNumberOfSamples());
  reader.getRawPresetBankBytes(bank.data());
}

/// Fills the bank from the SysEx file at `path`, as far as the file reaches. Ends the process with
/// status -1 if it can't be opened.
void readSysexBank(const std::string& path, PresetBank& bank) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    printCannotOpen(path);
    std::exit(failureStatus);
  }
  // The file stays open until the process ends.
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank.data());
}

}  // namespace

int main(int argc, char** argv) {
#ifdef SIGPIPE
  // The files are written even if nobody reads the messages.
  std::signal(SIGPIPE, SIG_IGN);
#endif

  if (argc < 3) {
    printUsage();
    std::exit(EXIT_SUCCESS);
  }

  const Options options = scanOptions(argc, argv);
  const std::string inputPath = argv[1];
  const std::string outputFolder = argv[2];
  PresetBank bank{};

  const std::string extension = extensionOf(inputPath);
  if (extension == "wav") {
    printProgress("reading tape data..\n");
    requireRecording(inputPath);
    WavLoader loader;
    // A file that can't be loaded counts as silence: the loader is then as it was constructed.
    static_cast<void>(loader.load(inputPath.c_str()));
    if (options.checkWavFormat) {
      return reportWavFormat(loader, outputFolder);
    }
    decodeRecording(loader, bank);
  } else if (extension == "syx" || extension == "sysex") {
    printProgress("reading sysex data..\n");
    readSysexBank(inputPath, bank);
  } else {
    std::printf("expected syx, sysex or wav file..");
    std::exit(failureStatus);
  }

  if (options.convertToRev3) {
    printProgress("converting to Revision 3..\n");
    K7_PresetRevisionConverter::convertBankRev1ToRev3(bank.data(), bank.data());
  }

  // A failure is only reported; the status stays 0.
  if (writeTransferFiles(bank.data(), presetCount, outputFolder) == -1) {
    std::printf("hmmm, that didn't work..");
  }
  return EXIT_SUCCESS;
}
