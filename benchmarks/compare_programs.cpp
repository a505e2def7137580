#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr int rounds = 101;
constexpr std::size_t fullSize = 16 * 1024 * 1024;
constexpr std::size_t headerSize = 44;

struct Program {
  std::string name;
  std::vector<std::string> command;
  double milliseconds = std::numeric_limits<double>::infinity();  // least so far
  long peakKilobytes = 0;
};

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "compare_programs: %s\n", message.c_str());
  std::exit(EXIT_FAILURE);
}

double milliseconds(const timeval& time) {
  return 1e3 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_usec);
}

/// Runs the command with its messages thrown away. Ends the process unless it ends with status 0.
rusage runOnce(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

  pid_t child = 0;
  int status = 0;
  rusage usage{};
  if (posix_spawnp(&child, arguments.front(), &actions, nullptr, arguments.data(), environ) != 0 ||
      wait4(child, &status, 0, &usage) != child || status != 0) {
    fail(command.front() + " failed");
  }
  posix_spawn_file_actions_destroy(&actions);
  return usage;
}

/// Runs the programs in turn, each round beginning with another one and each run with an empty
/// output folder, and prints the least that each cost.
void compare(const std::string& recording, const std::string& outputFolder,
             std::vector<Program> programs) {
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < programs.size(); ++i) {
      Program& program = programs[(round + i) % programs.size()];
      std::filesystem::remove_all(outputFolder);
      std::filesystem::create_directory(outputFolder);
      const rusage cost = runOnce(program.command);
      program.milliseconds =
          std::min(program.milliseconds, milliseconds(cost.ru_utime) + milliseconds(cost.ru_stime));
      program.peakKilobytes = std::max(program.peakKilobytes, cost.ru_maxrss);
    }
  }
  std::printf("\n%s, %.1f MB, least processor time of %d runs\n", recording.c_str(),
              static_cast<double>(std::filesystem::file_size(recording)) / 1e6, rounds);
  for (const Program& program : programs) {
    std::printf("%-24s %9.2f ms %9ld KiB\n", program.name.c_str(), program.milliseconds,
                program.peakKilobytes);
  }
}

void writeSize(std::fstream& file, std::streamoff position, std::size_t size) {
  const auto value = static_cast<std::uint32_t>(size);
  file.seekp(position);
  file.write(reinterpret_cast<const char*>(&value), sizeof value);
}

/// Repeats the samples of the recording until the file is as long as one can be that is read whole.
/// Works in small pieces: a process inherits the peak memory of the one that starts it.
void makeFullRecording(const std::string& recording, const std::string& fullRecording) {
  std::filesystem::copy_file(recording, fullRecording);
  std::fstream file(fullRecording, std::ios::binary | std::ios::in | std::ios::out);
  std::ifstream source(recording, std::ios::binary);
  file.seekp(0, std::ios::end);
  std::array<char, 4096> piece;
  while (static_cast<std::size_t>(file.tellp()) < fullSize) {
    if (!source.read(piece.data(), piece.size())) {
      source.clear();
      source.seekg(headerSize);
    }
    file.write(piece.data(), source.gcount());
  }
  writeSize(file, 4, fullSize - 8);
  writeSize(file, 40, fullSize - headerSize);
  file.close();
  std::filesystem::resize_file(fullRecording, fullSize);
}

}  // namespace

/// Compares the converter with the least work and with sox reading the same file: on the recording
/// of a bank, and on one of 16 MiB.
int main(int argc, char** argv) {
  if (argc != 5) {
    fail("usage: compare_programs CONVERTER SYSEX_TO_TAPE LEAST_WORK bank.syx");
  }
  const std::string converter = argv[1];
  const std::string sysexToTape = argv[2];
  const std::string leastWork = argv[3];
  const std::string bank = argv[4];

  std::string folder = (std::filesystem::temp_directory_path() / "kestrel7-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) {
    fail("can't make a temporary folder");
  }
  const std::string sample = folder + "/sample.wav";
  const std::string full = folder + "/full.wav";
  const std::string output = folder + "/output";
  runOnce({sysexToTape, bank, sample});
  makeFullRecording(sample, full);
  for (const std::string& recording : {sample, full}) {
    compare(recording, output,
            {{"converter", {converter, recording, output}},
             {"least work", {leastWork, recording, output}},
             {"sox FILE -n stat", {"sox", recording, "-n", "stat"}}});
  }
  std::filesystem::remove_all(folder);
  return EXIT_SUCCESS;
}
