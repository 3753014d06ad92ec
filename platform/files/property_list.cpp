#include "platform/files/property_list.h"

#include "platform/files/files.h"

namespace corvana {
namespace {

/// Walks a binary property list as a reader does who follows each reference, and fails where that would not end well:
/// readers call themselves for each level, and an object that is named in many places is read as many times, so that
/// a few bytes can stand for more than any memory holds. Whatever else is wrong is the reader's to find.
///
/// The form: "bplist00", the objects, their offsets, and 32 bytes with the sizes, the number of objects, the top one
/// and the place of the offsets.
class BinaryWalk {
 public:
  explicit BinaryWalk(std::string_view bytes) : bytes_(bytes) {}

  void run() {
    if (bytes_.size() < trailerSize) return;
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = number(trailer + 6, 1);
    referenceSize_ = number(trailer + 7, 1);
    objectCount_ = number(trailer + 8, 8);
    offsetTable_ = number(trailer + 24, 8);
    visit(number(trailer + 16, 8), 0);
  }

 private:
  static constexpr std::size_t trailerSize = 32;
  static constexpr int maximumVisits = 1 << 16;

  /// A big-endian number; zero beyond the end.
  std::size_t number(std::size_t position, std::size_t size) const {
    std::size_t value = 0;
    if (position > bytes_.size() || size > bytes_.size() - position) return 0;
    for (std::size_t i = 0; i < size; ++i) value = (value << 8) | static_cast<unsigned char>(bytes_[position + i]);
    return value;
  }

  void visit(std::size_t object, int depth) {
    if (depth > PropertyList::maximumDepth || ++visits_ > maximumVisits) {
      throw PropertyListError("nested deeper than " + std::to_string(PropertyList::maximumDepth) +
                              " levels, or with too many references");
    }
    if (object >= objectCount_) return;
    std::size_t position = number(offsetTable_ + object * offsetSize_, offsetSize_);
    const std::size_t marker = number(position, 1);
    const std::size_t kind = marker >> 4;
    if (kind < 0xA) return;  // a value without references; 0xA to 0xC are arrays and sets, 0xD is a dictionary
    std::size_t count = marker & 0xF;
    ++position;
    if (count == 0xF) {  // the count follows as a number object
      const std::size_t size = std::size_t{1} << (number(position, 1) & 0x3);
      count = number(position + 1, size);
      position += 1 + size;
    }
    if (kind == 0xD) count *= 2;
    if (referenceSize_ == 0 || count > bytes_.size() / referenceSize_) return;
    for (std::size_t i = 0; i < count; ++i) visit(number(position + i * referenceSize_, referenceSize_), depth + 1);
  }

  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t objectCount_ = 0;
  std::size_t offsetTable_ = 0;
  int visits_ = 0;
};

}  // namespace

void PropertyList::checkBinaryStructure(std::string_view bytes) {
  BinaryWalk(bytes).run();
}

PropertyDictionary PropertyList::read(const std::filesystem::path& file) {
  const std::string bytes = files::read(file, maximumBytes);
  try {
    return parse(bytes);
  } catch (const PropertyListError& error) {
    throw PropertyListError(file.string() + ": " + error.what());
  }
}

}  // namespace corvana
