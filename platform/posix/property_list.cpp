#include "platform/property_list.h"

#include "platform/files.h"

namespace corvana {

PropertyDictionary PropertyList::read(const std::filesystem::path& file) {
  const std::string bytes = files::read(file, maximumBytes);
  try {
    return parse(bytes);
  } catch (const PropertyListError& error) {
    throw PropertyListError(file.string() + ": " + error.what());
  }
}

}  // namespace corvana
