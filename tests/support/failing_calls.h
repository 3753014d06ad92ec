#pragma once

namespace corvana::support {

/// Makes one of the calls to the system fail that the file functions make while this lives. The test program must be
/// linked with failing_calls.cpp, and with --wrap for each of the calls that are defined there.
class FailingCall {
 public:
  /// The call with that number, counted from 0, fails with `error` (an errno); none does for a negative number.
  FailingCall(int number, int error);
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();

  /// How many calls were made so far.
  int count() const;
};

}  // namespace corvana::support
