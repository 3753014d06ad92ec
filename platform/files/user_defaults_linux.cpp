#include "platform/files/user_defaults_linux.h"

#include "platform/files/files.h"
#include "platform/files/key_file_glib.h"
#include "platform/files/xdg_directories_linux.h"

namespace corvana {
namespace {

constexpr const char* group = "Defaults";

KeyFile keysOf(const std::filesystem::path& file) {
  KeyFile keys(::g_key_file_new());
  // Without a file, or with a broken one, there are no defaults.
  (void)::g_key_file_load_from_file(keys.get(), file.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
  return keys;
}

}  // namespace

UserDefaultsLinux::UserDefaultsLinux(std::string_view bundleIdentifier)
    : file_(xdg::configHome() / "corvana" / std::string(bundleIdentifier).append(".conf")) {}

bool UserDefaultsLinux::boolFor(std::string_view key) {
  return ::g_key_file_get_boolean(keysOf(file_).get(), group, std::string(key).c_str(), nullptr) != 0;
}

void UserDefaultsLinux::set(std::string_view key, bool value) {
  const KeyFile keys = keysOf(file_);
  ::g_key_file_set_boolean(keys.get(), group, std::string(key).c_str(), value ? TRUE : FALSE);
  files::createPrivateDirectories(file_.parent_path());
  files::replace(file_, textOf(*keys));
}

}  // namespace corvana
