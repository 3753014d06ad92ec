#include "core/identity/settings_store.h"

#include "core/identity/json_coding.h"
#include "core/identity/log.h"

namespace corvana {
namespace {

void fields(auto& settings, auto& visitor) {
  visitor.defaulted("version", settings.version);
  visitor.defaulted("notifiesWhenProxyAppsAreOutdated", settings.notifiesWhenProxyAppsAreOutdated);
  visitor.defaulted("disablesHelper", settings.disablesHelper);
}

}  // namespace

AppSettings AppSettings::parse(std::string_view text) {
  AppSettings settings;
  const nlohmann::json document = parseJSON(text);
  FieldReader reader(document);
  fields(settings, reader);
  return settings;
}

std::string AppSettings::documentText() const {
  FieldWriter writer;
  fields(*this, writer);
  return corvana::documentText(writer.take());
}

void SettingsStore::reloadIfChanged() {
  if (file_.state() != DocumentFile::State::changed) return;
  problem_.reset();
  try {
    settings = file_.read(&AppSettings::parse);
  } catch (const std::exception& error) {
    if (file_.state() == DocumentFile::State::missing) return;  // it has gone just now
    problem_ = error.what();
    Log::helper.error("settings.json could not be read; using defaults");
    Log::helper.error("settings.json: ", *problem_);
    settings = {};
  }
}

void SettingsStore::save() {
  const DocumentLock lock = file_.lock();
  write();
}

void SettingsStore::change(const std::function<void(AppSettings&)>& change) {
  const DocumentLock lock = file_.lock();
  reloadIfChanged();
  AppSettings changed = settings;
  change(changed);
  settings = changed;
  write();
}

void SettingsStore::write() {
  file_.write(settings.documentText());
  problem_.reset();
}

}  // namespace corvana
