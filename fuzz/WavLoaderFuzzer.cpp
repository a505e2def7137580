#include <cstddef>
#include <cstdint>
#include <new>

#include "models/TapeModel.h"
#include "models/WavModel.h"
#include "support/Check.h"
#include "support/MemoryFile.h"
#include "support/OpenClasses.h"

namespace {

// A file of a few bytes can ask for gigabytes, which a small machine does not have.
constexpr std::size_t largestAllocation = 512 * 1024;

bool runsOutOfMemory(OpenWavLoader& loader, const char* path, bool& isLoaded) {
  try {
    isLoaded = loader.load(path);
    return false;
  } catch (const std::bad_alloc&) {
    return true;
  }
}

void checkMembers(const OpenWavLoader& loader, const ExpectedWav& expected) {
  checkEqual(loader.bitDepth, expected.bitDepth, "bit depth");
  checkEqual(loader.sampleRate, expected.sampleRate, "sample rate");
  checkEqual(loader.numChannels, expected.numChannels, "channels");
  checkEqual(loader.numberOfSamples, expected.numberOfSamples, "samples a channel");
  checkEqual(loader.getBitDepth(), expected.bitDepth, "bit depth from the getter");
  checkEqual(loader.getSampleRate(), expected.sampleRate, "sample rate from the getter");
  checkEqual(loader.getNumberOfSamples(), expected.numberOfSamples, "samples from the getter");
  check(loader.getAudioBuffer() == loader.audioBuffer, "the getter gives the buffer");
}

void checkDecodedBank(const OpenWavLoader& loader) {
  const int count = loader.getNumberOfSamples();
  TapeModel model;
  if (count > 0) {
    model.decode({loader.getAudioBuffer(), static_cast<std::size_t>(count)});
  }
  OpenTapeDataReader reader;
  reader.readPresetData(loader.getAudioBuffer(), count);
  checkSame<char>(reader.bank(), model.bank(), "bank");
}

}  // namespace

/// Only what asks for arrays is refused: that is the loader. A refused plain operator new would end
/// a run with the address sanitizer instead of an exception.
void* operator new[](std::size_t size) {  // NOLINT(misc-new-delete-overloads): frees as before
  void* memory = size > largestAllocation ? nullptr : operator new[](size, std::nothrow);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  static const CapturedOutput output;
  const ExpectedWav expected = expectedWav(textOf(data, size), largestAllocation);
  if (expected.outcome == WavOutcome::ArithmeticFault ||
      expected.outcome == WavOutcome::AboveRange || expected.outcome == WavOutcome::BelowRange) {
    return 0;  // as intended, none of them returns
  }

  file.write(textOf(data, size));
  OpenWavLoader loader;
  bool isLoaded = false;
  const int descriptor = nextDescriptor();
  const bool isOutOfMemory = runsOutOfMemory(loader, file.path().c_str(), isLoaded);

  checkEqual(nextDescriptor(), descriptor, "next descriptor");
  check(isOutOfMemory == (expected.outcome == WavOutcome::OutOfMemory),
        "std::bad_alloc where the samples need too much memory, and only there");
  check(isLoaded == (expected.outcome == WavOutcome::Loaded), "the model's verdict on the file");
  checkMembers(loader, expected);
  check((loader.audioBuffer != nullptr) == isLoaded, "a buffer where a file is loaded");
  if (isLoaded) {
    checkSame<float>({loader.audioBuffer, expected.samples.size()}, expected.samples, "samples");
    checkDecodedBank(loader);
  }
  check(output.take().empty(), "nothing printed");
  return 0;
}
