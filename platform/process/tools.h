#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace corvana {

/// A tool could not be started, or ended with a failure; what() holds its path, exit status and output.
class ToolError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Runs an executable, given by its path, with these arguments and without a shell, and waits for its end. Its standard
/// output and standard error come back together. Throws ToolError. Blocks; main thread.
std::string runTool(const std::string& executable, const std::vector<std::string>& arguments);

}  // namespace corvana
