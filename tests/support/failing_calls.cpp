#include "tests/support/failing_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

bool isCounting = false;
int callCount = 0;
int failingNumber = -1;
int failingError = 0;

bool fails() {
  if (!isCounting || callCount++ != failingNumber) return false;
  errno = failingError;
  return true;
}

}  // namespace

namespace corvana::support {

FailingCall::FailingCall(int number, int error) {
  isCounting = true;
  callCount = 0;
  failingNumber = number;
  failingError = error;
}
FailingCall::~FailingCall() {
  isCounting = false;
}
int FailingCall::count() const {
  return callCount;
}

}  // namespace corvana::support

// What the linker calls in place of the functions themselves (ld(1), --wrap).
extern "C" {

int __real_open(const char* path, int flags, mode_t mode);
int __wrap_open(const char* path, int flags, mode_t mode) {
  return fails() ? -1 : __real_open(path, flags, mode);
}
ssize_t __real_read(int descriptor, void* bytes, size_t size);
ssize_t __wrap_read(int descriptor, void* bytes, size_t size) {
  return fails() ? -1 : __real_read(descriptor, bytes, size);
}
ssize_t __real_write(int descriptor, const void* bytes, size_t size);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t size) {
  return fails() ? -1 : __real_write(descriptor, bytes, size);
}
int __real_stat(const char* path, struct stat* status);
int __wrap_stat(const char* path, struct stat* status) {
  return fails() ? -1 : __real_stat(path, status);
}
int __real_fstat(int descriptor, struct stat* status);
int __wrap_fstat(int descriptor, struct stat* status) {
  return fails() ? -1 : __real_fstat(descriptor, status);
}
int __real_futimens(int descriptor, const struct timespec* times);
int __wrap_futimens(int descriptor, const struct timespec* times) {
  return fails() ? -1 : __real_futimens(descriptor, times);
}
int __real_fsync(int descriptor);
int __wrap_fsync(int descriptor) {
  return fails() ? -1 : __real_fsync(descriptor);
}
int __real_mkdir(const char* path, mode_t mode);
int __wrap_mkdir(const char* path, mode_t mode) {
  return fails() ? -1 : __real_mkdir(path, mode);
}
int __real_rename(const char* from, const char* to);
int __wrap_rename(const char* from, const char* to) {
  return fails() ? -1 : __real_rename(from, to);
}
int __real_link(const char* from, const char* to);
int __wrap_link(const char* from, const char* to) {
  return fails() ? -1 : __real_link(from, to);
}

}  // extern "C"
