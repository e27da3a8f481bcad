#pragma once

#include <stdexcept>
#include <string>

namespace vxhost {

// Exit statuses of the program.
inline constexpr int EXIT_DONE = 0;
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;
inline constexpr int EXIT_NOTHING = 3;  // no supported hardware or no plug-in

// Ends the program with a status and one line for people.
class Failure : public std::runtime_error {
 public:
  Failure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
  [[nodiscard]] int Status() const { return status_; }

 private:
  int status_;
};

}  // namespace vxhost
