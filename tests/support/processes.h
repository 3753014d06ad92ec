#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <vector>

namespace corvana::support {

/// Lets several processes do the same at once, each as often.
inline void inProcesses(int processes, int times, const std::function<void()>& work) {
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    children.push_back(::fork());
    if (children.back() != 0) continue;
    for (int j = 0; j < times; ++j) work();
    ::_exit(0);
  }
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
}

}  // namespace corvana::support
