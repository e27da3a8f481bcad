#pragma once

#include <string>
#include <vector>

namespace vxhost {

// How a program that was run for the host itself ended.
struct ChildResult {
  int m_Status = -1;     // exit status; -1 when it could not be started or was ended by a signal
  std::string m_Output;  // standard output and standard error together
};

// Runs the program and waits for its end. Standard input is empty, the environment is the host's,
// signals are as usual. [any thread]
ChildResult RunChild(const std::vector<std::string>& words);

// Kills the programs that RunChild is running; from then on it starts none. For the end of the
// process. [any thread]
void EndChildren();

// Without blanks and line ends at its end: what a program said, as part of a line.
std::string WithoutLineEnd(std::string text);

}  // namespace vxhost
