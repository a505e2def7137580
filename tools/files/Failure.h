#pragma once

#include <stdexcept>
#include <string>

/// The exit statuses of the program.
enum class Status {
  AllSure = 0,
  SomeNotSure = 1,
  WrongUsage = 2,
  NoDump = 3,
  FileFault = 4,  // one can't be read or written
};

/// Ends the run: what the user is told in one line, and the exit status.
class Failure : public std::runtime_error {
 public:
  Failure(Status exitStatus, const std::string& message)
      : std::runtime_error(message), status(exitStatus) {}

  const Status status;
};
