#pragma once

#include "platform/files/trash.h"

namespace corvana {

/// The desktop's trash (freedesktop.org, "The FreeDesktop.org Trash specification" 1.0), by GIO.
class TrashGIO final : public Trash {
 public:
  void move(const std::filesystem::path& file) override;
};

}  // namespace corvana
