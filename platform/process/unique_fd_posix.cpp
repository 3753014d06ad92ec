#include "platform/process/unique_fd.h"

#include <unistd.h>

namespace corvana {

UniqueFD::~UniqueFD() {
  // Nothing can be done about a failing close, and repeating it may close a descriptor that is another's by now.
  if (descriptor_ >= 0) (void)::close(descriptor_);
}

}  // namespace corvana
