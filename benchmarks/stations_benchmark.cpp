#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "audio/WavLoader.h"
#include "preset/K7_PresetRevisionConverter.h"
#include "preset/PresetBank.h"
#include "signal/DumpSignal.h"
#include "signal/WavFile.h"
#include "tape/TapeDataReader.h"
#include "transfer/writeTransferFiles.h"

namespace {

constexpr std::size_t largestFile = 16 * 1024 * 1024;
constexpr std::size_t headerSize = 44;

/// A folder for the files of all benchmarks, gone when the program ends.
const std::string& temporaryFolder() {
  static const struct Folder {
    Folder() : path((std::filesystem::temp_directory_path() / "kestrel7-XXXXXX").string()) {
      if (mkdtemp(path.data()) == nullptr) {
        std::abort();
      }
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::string path;
  } folder;
  return folder.path;
}

PresetBank exampleBank() {
  PresetBank bank;
  for (std::size_t i = 0; i < bank.size(); ++i) {
    bank[i] = static_cast<char>(i * 37 % 251);
  }
  return bank;
}

const std::vector<float>& dumpRecording() {
  static const std::vector<float> recording = [] {
    const PresetBank bank = exampleBank();
    return recordTape(dumpSignal({bank.data(), bank.size()}));
  }();
  return recording;
}

/// The recording again and again until it is `size` samples long.
std::vector<float> repeatedRecording(std::size_t size) {
  std::vector<float> samples;
  while (samples.size() < size) {
    samples.insert(samples.end(), dumpRecording().begin(), dumpRecording().end());
  }
  samples.resize(size);
  return samples;
}

/// Shows the time for one of the `count` items that each iteration handles.
void showTimePer(benchmark::State& state, const char* item, std::size_t count) {
  state.counters[item] =
      benchmark::Counter(static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}

/// Loads a file of 16 MiB.
void load(benchmark::State& state) {
  WavFormat format;
  format.bitsPerSample = static_cast<int>(state.range(0));
  format.numChannels = static_cast<int>(state.range(1));
  format.blockAlign = format.numChannels * format.bitsPerSample / 8;
  const std::size_t frames =
      (largestFile - headerSize) / static_cast<std::size_t>(format.blockAlign);
  // Of 32 bits only silence loads.
  const std::vector<float> channel =
      format.bitsPerSample == 32 ? std::vector<float>(frames) : repeatedRecording(frames);
  const std::vector<std::vector<float>> channels(static_cast<std::size_t>(format.numChannels),
                                                 channel);
  const std::string path = temporaryFolder() + "/load.wav";
  std::ofstream(path, std::ios::binary)
      << wavFile(format, pcmBytes(channels, format.bitsPerSample));

  while (state.KeepRunning()) {
    WavLoader loader;
    if (!loader.load(path.c_str())) {
      state.SkipWithError("not loaded");
    }
    benchmark::DoNotOptimize(loader.getAudioBuffer());
  }
  showTimePer(state, "sample", frames * channels.size());
}
BENCHMARK(load)
    ->ArgNames({"bits", "channels"})
    ->ArgsProduct({{8, 16, 24, 32}, {1, 2}})
    ->Unit(benchmark::kMillisecond);

/// Decodes one dump, or as many samples as a file of 16 MiB holds.
void decode(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  std::vector<float> samples = repeatedRecording(size);
  while (state.KeepRunning()) {
    TapeDataReader reader;
    reader.readPresetData(samples.data(), static_cast<int>(size));
    benchmark::DoNotOptimize(reader);
  }
  showTimePer(state, "sample", size);
}
BENCHMARK(decode)
    ->ArgName("samples")
    ->Arg(1300000)
    ->Arg((largestFile - headerSize) / 2)
    ->Unit(benchmark::kMillisecond);

void convertBank(benchmark::State& state) {
  PresetBank bank = exampleBank();
  while (state.KeepRunning()) {
    K7_PresetRevisionConverter::convertBankRev1ToRev3(bank.data(), bank.data());
    benchmark::DoNotOptimize(bank);
  }
  showTimePer(state, "preset", presetCount);
}
BENCHMARK(convertBank);

void writeTransfers(benchmark::State& state) {
  const PresetBank bank = exampleBank();
  while (state.KeepRunning()) {
    if (writeTransferFiles(bank.data(), presetCount, temporaryFolder()) != 0) {
      state.SkipWithError("not written");
    }
  }
  showTimePer(state, "preset", presetCount);
}
BENCHMARK(writeTransfers);

}  // namespace

int main(int argc, char** argv) {
  // Large buffers come fresh from the system each time, as in a process that loads one file.
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
