#pragma once

#include "platform/files/trash.h"

namespace corvana {

/// The trash that the Finder shows; each volume has its own part of it, and some have none.
class TrashMacOS final : public Trash {
 public:
  void move(const std::filesystem::path& file) override;
};

}  // namespace corvana
