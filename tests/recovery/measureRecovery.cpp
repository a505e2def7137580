#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "recovery/Measurement.h"
#include "signal/WavFile.h"
#include "support/RealRecording.h"

namespace {

constexpr const char* usage =
    "usage: measure_recovery [options] MIXTURE...\n"
    "       measure_recovery --check [-j N]\n"
    "       measure_recovery --write FILE.wav [--seed N] MIXTURE\n"
    "Makes recordings, reads them and prints a table.\n"
    "MIXTURE is one of --list, \"faults\" (each single fault), \"nodump\" or \"all\".\n"
    "  --seed N     the first seed (0); figures for a document come from 1,000,000 on, of\n"
    "               seeds on which nothing was tuned\n"
    "  --count N    recordings of each mixture (20)\n"
    "  --takes N    recordings of each dump, read together (1)\n"
    "  -j N         threads (1)\n"
    "  --verbose    a line a recording\n"
    "  --check      measures a share and fails if a bar is missed\n"
    "  --write      writes the recording of the first seed\n"
    "  --list       lists the mixtures\n";

struct Summary {
  std::string mixture;
  std::vector<Outcome> outcomes = {};  // in ascending order of their seconds

  /// Of how many it is true, or the sum of the counts.
  template <typename Value>
  int sum(Value Outcome::*what) const {
    int all = 0;
    for (const Outcome& outcome : outcomes) {
      all += outcome.*what;
    }
    return all;
  }
  double wholeShare() const {
    return sum(&Outcome::whole) / std::max(1.0, static_cast<double>(outcomes.size()));
  }
  double doubtedShare() const {
    return sum(&Outcome::doubted) / std::max(1.0, 1.0 * sum(&Outcome::recorded));
  }
  double secondsAt(double share) const {
    const auto rank = static_cast<std::size_t>(share * static_cast<double>(outcomes.size()));
    return outcomes.empty() ? 0.0 : outcomes[std::min(rank, outcomes.size() - 1)].seconds;
  }
};

struct MeasureOptions {
  std::uint32_t firstSeed = 0;
  int count = 20;
  int takes = 1;
  int threads = 1;
  bool isVerbose = false;  // prints a line a recording
};

void print(const std::string& mixture, std::uint32_t seed, const Outcome& outcome) {
  std::printf("%s %u: %s%s, sure and wrong %d, doubted %d, lost %d, %.2f s: %s\n", mixture.c_str(),
              seed, outcome.whole ? "whole" : "not whole",
              outcome.converterWhole ? " (converter whole)" : "", outcome.sureAndWrong,
              outcome.doubted, outcome.lost, outcome.seconds, outcome.faults.c_str());
  std::fflush(stdout);
}

Summary measureMany(const std::string& mixture, const MeasureOptions& options) {
  Summary summary{.mixture = mixture};
  std::atomic<int> next = 0;
  std::mutex summaryMutex;
  const auto work = [&] {
    for (int i = next++; i < options.count; i = next++) {
      const std::uint32_t seed = options.firstSeed + static_cast<std::uint32_t>(i);
      const Outcome outcome = measure(mixture, seed, options.takes);
      const std::scoped_lock lock(summaryMutex);
      summary.outcomes.push_back(outcome);
      if (options.isVerbose) {
        print(mixture, seed, outcome);
      }
    }
  };
  std::vector<std::thread> threads;
  for (int i = 1; i < options.threads; ++i) {
    threads.emplace_back(work);
  }
  work();
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::sort(summary.outcomes.begin(), summary.outcomes.end(),
            [](const Outcome& a, const Outcome& b) { return a.seconds < b.seconds; });
  return summary;
}

void printHead() {
  std::printf("%-24s %5s %12s %6s %6s %8s %6s %9s %6s %6s\n", "", "made", "whole", "wrong", "lost",
              "doubted", "found", "converter", "median", "95 %");
}

void print(const Summary& summary) {
  std::printf("%-24s %5zu %5d %5.1f%% %6d %6d %7.2f%% %6d %9d %5.2fs %5.2fs\n",
              summary.mixture.c_str(), summary.outcomes.size(), summary.sum(&Outcome::whole),
              100.0 * summary.wholeShare(), summary.sum(&Outcome::sureAndWrong),
              summary.sum(&Outcome::lost), 100.0 * summary.doubtedShare(),
              summary.sum(&Outcome::found), summary.sum(&Outcome::converterWhole),
              summary.secondsAt(0.5), summary.secondsAt(0.95));
  std::fflush(stdout);
}

bool holdsNoDump(const std::string& mixture) {
  return mixture == "voice" || mixture == "music" || mixture == "noise" || mixture == "modem";
}

std::vector<std::string> expand(const std::vector<std::string>& wanted) {
  const std::vector<std::string> all = mixtureNames();
  std::vector<std::string> mixtures;
  for (const std::string& name : wanted) {
    if (name == "all") {
      mixtures.insert(mixtures.end(), all.begin(), all.end());
    } else if (name == "nodump") {
      std::copy_if(all.begin(), all.end(), std::back_inserter(mixtures), holdsNoDump);
    } else if (name == "faults") {
      std::copy_if(all.begin(), all.end(), std::back_inserter(mixtures),
                   [](const std::string& mixture) { return mixture.find('-') != mixture.npos; });
    } else {
      mixtures.push_back(name);
    }
  }
  return mixtures;
}

/// A share of the measurement, with bars that leave room for chance.
struct Share {
  const char* mixture;
  int count;
  int takes;
  double leastWhole;
};
constexpr Share shares[] = {
    {"typical", 60, 1, 0.96}, {"typical", 15, 2, 0.99},   {"severe", 25, 1, 0.0},
    {"grid", 40, 1, 0.0},     {"incomplete", 20, 1, 0.8}, {"voice", 4, 1, 1.0},
    {"music", 4, 1, 1.0},     {"noise", 6, 1, 1.0},       {"modem", 8, 1, 1.0},
};
constexpr double mostDoubted = 0.02;       // of the presets of the typical mixture
constexpr double mostMedianSeconds = 0.8;  // of the typical mixture; 0.3 as measured

bool expectBar(bool holds, const Summary& summary, const char* bar) {
  if (!holds) {
    std::printf("%s: missed: %s\n", summary.mixture.c_str(), bar);
  }
  return holds;
}

bool check(int threads) {
  bool holds = true;
  printHead();
  for (const Share& share : shares) {
    const Summary summary = measureMany(
        share.mixture, {.count = share.count, .takes = share.takes, .threads = threads});
    print(summary);
    holds &=
        expectBar(summary.sum(&Outcome::sureAndWrong) == 0, summary, "no preset sure and wrong");
    holds &= expectBar(summary.wholeShare() >= share.leastWhole, summary, "whole recordings");
    holds &= expectBar(summary.sum(&Outcome::onlyConverterWhole) == 0, summary,
                       "what the converter reads right is read right");
    if (summary.mixture == "typical") {
      holds &= expectBar(summary.doubtedShare() <= mostDoubted, summary, "few doubted presets");
      holds &= expectBar(summary.secondsAt(0.5) <= mostMedianSeconds, summary, "processor time");
    }
  }
  return holds;
}

void write(const std::string& path, const std::string& mixture, std::uint32_t seed) {
  const RealRecording recording = makeRecording(mixture, seed);
  const auto channelCount = static_cast<std::size_t>(recording.channels);
  std::vector<std::vector<float>> channels(channelCount);
  for (std::size_t i = 0; i < recording.samples.size(); ++i) {
    channels[i % channelCount].push_back(recording.samples[i]);
  }
  const int bits = recording.bitsPerSample == 0 ? 24 : recording.bitsPerSample;
  std::ofstream file(path, std::ios::binary);
  file << wavFile({.numChannels = recording.channels,
                   .sampleRate = static_cast<std::uint32_t>(recording.sampleRate),
                   .bitsPerSample = bits},
                  pcmBytes(channels, bits));
  file.close();
  if (!file) {
    throw std::runtime_error("can't write " + path);
  }
  std::printf("%s\n", recording.faults.c_str());
  for (const RecordedDump& dump : recording.dumps) {
    std::printf("dump at %.3f to %.3f s, %s\n", dump.start, dump.end,
                dump.isComplete() ? "complete" : "incomplete");
  }
}

int run(const std::vector<std::string>& arguments) {
  MeasureOptions options;
  std::vector<std::string> names;
  std::string output;
  bool isCheck = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const auto value = [&arguments, &i] { return arguments.at(++i); };
    if (argument == "--seed") {
      options.firstSeed = static_cast<std::uint32_t>(std::stoul(value()));
    } else if (argument == "--count") {
      options.count = std::stoi(value());
    } else if (argument == "--takes") {
      options.takes = std::stoi(value());
    } else if (argument == "-j") {
      options.threads = std::stoi(value());
    } else if (argument == "--verbose") {
      options.isVerbose = true;
    } else if (argument == "--check") {
      isCheck = true;
    } else if (argument == "--write") {
      output = value();
    } else if (argument == "--list") {
      for (const std::string& name : mixtureNames()) {
        std::puts(name.c_str());
      }
      return 0;
    } else {
      names.push_back(argument);
    }
  }
  if (isCheck) {
    return check(options.threads) ? 0 : 1;
  }
  if (names.empty()) {
    std::fputs(usage, stderr);
    return 2;
  }
  if (!output.empty()) {
    write(output, names.front(), options.firstSeed);
    return 0;
  }
  printHead();
  for (const std::string& mixture : expand(names)) {
    print(measureMany(mixture, options));
  }
  return 0;
}

}  // namespace

/// Measures how well real recordings are read.
int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "measure_recovery: %s\n", error.what());
    return 2;
  }
}
