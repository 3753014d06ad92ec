#pragma once

#include "core/registry/registry.h"
#include "core/stub/menu_builder.h"
#include "creator/commands/commands.h"

namespace corvana::commands {

/// Makes the desktop offer the app. Throws when it cannot.
inline void registerWithDesktop(const RegisteredApp& app, const System& system) {
  system.registration.add(app.path, "Opens " + app.config.subject(), MenuBuilder::menu(app.name));
}

}  // namespace corvana::commands
