// Binary property lists ("bplist00"), read straight from their layout:
//
//   "bplist00" | objects ... | offset table | trailer (32 bytes)
//
// The trailer gives the width of offsets and of object references, the
// number of objects, the top object and where the offset table starts; the
// table gives each object's position. An object starts with a marker byte
// (type in the high nibble, a size or count in the low one, 0xF meaning "an
// integer object with the count follows"). Arrays hold references; a
// dictionary holds its key references, then its value references.
//
// Everything comes from outside the process, so every offset, count and
// reference is checked against the bytes before it is used, and objects must
// lie between the header and the offset table. Containers are filled with an
// explicit stack (never recursion), at most maxValueDepth deep; a reference
// back to a container still being filled is a cycle and refused. Objects may
// be shared (writers store equal texts once), so one object can be copied
// into the tree many times; a budget on the bytes the tree occupies keeps a
// small list from expanding into an enormous tree, so memory and time stay
// linear in the input.
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "Keel/core/property_list_formats.h"

namespace Keel::PropertyList::detail {
namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

// A tree may occupy this much plus budgetPerByte times the input's size
// (counting the slots of array elements and dictionary entries and the bytes
// of texts and data). Lists read with a few times to spare: a value takes at
// least three bytes of a list without shared objects (marker, offset,
// reference) and 40 in the tree; a dictionary entry whose key and value are
// shared takes two references of two bytes and 72 plus the key in the tree.
constexpr std::uint64_t budgetBase = std::uint64_t{16} << 20;
constexpr std::uint64_t budgetPerByte = 64;

std::uint64_t bigEndian(const std::uint8_t* p, std::size_t n) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

// Appends the UTF-8 form of `c` (a scalar value, not a surrogate).
void appendUTF8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

class BinaryReader {
 public:
  explicit BinaryReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  ReadResult read() {
    if (!readTrailer()) return corrupted(std::move(error_));
    const std::uint64_t size = bytes_.size();
    budget_ = size > (std::numeric_limits<std::uint64_t>::max() - budgetBase) / budgetPerByte
                  ? std::numeric_limits<std::uint64_t>::max()
                  : budgetBase + size * budgetPerByte;
    filling_.assign(objectCount_, 0);

    if (!visit(topObject_)) return corrupted(std::move(error_));
    while (!stack_.empty()) {
      Frame& frame = stack_.back();
      if (frame.next == frame.count) {
        AnyValue done = frame.dictionary ? AnyValue(TextDictionary::fromEntries(std::move(frame.entries)))
                                         : AnyValue(std::move(frame.items));
        filling_[frame.object] = 0;
        stack_.pop_back();
        deliver(std::move(done));
        continue;
      }
      const std::uint64_t i = frame.next++;
      std::uint64_t child = 0;
      if (frame.dictionary) {
        Object key;
        std::string name;
        if (!locate(reference(frame.references, i), key)) return corrupted(std::move(error_));
        if (key.type != 0x5 && key.type != 0x6) return corrupted("a dictionary key is not a text");
        if (!text(key, name)) return corrupted(std::move(error_));
        frame.entries.emplace_back(std::move(name), AnyValue());
        child = reference(frame.references, frame.count + i);
      } else {
        child = reference(frame.references, i);
      }
      if (!visit(child)) return corrupted(std::move(error_));  // may grow stack_: `frame` is stale now
    }
    if (!root_) return corrupted("no top object");
    return std::move(*root_);
  }

 private:
  struct Object {
    std::uint64_t index = 0;
    std::uint8_t type = 0;  // the marker's high nibble
    std::uint8_t info = 0;  // its low nibble
    std::size_t start = 0;  // the first byte after the marker and any count
    std::uint64_t count = 0;
    std::uint64_t available = 0;  // bytes from `start` to the offset table
  };

  // A container being filled.
  struct Frame {
    std::uint64_t object = 0;
    std::size_t references = 0;  // position of the first reference
    std::uint64_t count = 0;     // entries (pairs for a dictionary)
    std::uint64_t next = 0;
    bool dictionary = false;
    AnyValue::Array items;
    TextDictionary::Entries entries;
  };

  bool fail(std::string reason) {
    error_ = std::move(reason);
    return false;
  }

  bool charge(std::uint64_t amount) {
    if (amount > budget_) return fail("the list expands through shared objects far beyond its own size");
    budget_ -= amount;
    return true;
  }

  bool readTrailer() {
    const std::size_t size = bytes_.size();
    if (size < headerSize || std::memcmp(bytes_.data(), "bplist00", headerSize) != 0) {
      return fail("binary property list of an unsupported version");
    }
    if (size < headerSize + 2 + trailerSize) return fail("binary property list too short");
    const std::uint8_t* trailer = bytes_.data() + size - trailerSize;
    offsetSize_ = trailer[6];
    referenceSize_ = trailer[7];
    objectCount_ = bigEndian(trailer + 8, 8);
    topObject_ = bigEndian(trailer + 16, 8);
    tableStart_ = bigEndian(trailer + 24, 8);
    const std::uint64_t tableLimit = size - trailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) {
      return fail("binary property list trailer gives an invalid offset or reference size");
    }
    if (objectCount_ == 0 || topObject_ >= objectCount_) return fail("binary property list has no top object");
    if (tableStart_ <= headerSize || tableStart_ > tableLimit ||
        objectCount_ > (tableLimit - tableStart_) / offsetSize_) {
      return fail("binary property list offset table lies outside the list");
    }
    return true;
  }

  std::uint64_t reference(std::size_t at, std::uint64_t i) const {
    return bigEndian(bytes_.data() + at + i * referenceSize_, referenceSize_);
  }

  // Finds object `index` and reads its marker and count.
  bool locate(std::uint64_t index, Object& object) {
    if (index >= objectCount_)
      return fail("reference to object " + std::to_string(index) + " of " + std::to_string(objectCount_));
    const std::uint64_t offset = bigEndian(bytes_.data() + tableStart_ + index * offsetSize_, offsetSize_);
    if (offset < headerSize || offset >= tableStart_) return fail("object offset outside the object area");
    const std::uint8_t marker = bytes_[offset];
    object.index = index;
    object.type = marker >> 4;
    object.info = marker & 0xF;
    object.start = offset + 1;
    object.count = object.info;
    const bool counted =
        object.type == 0x4 || object.type == 0x5 || object.type == 0x6 || object.type == 0xA || object.type == 0xD;
    if (counted && object.info == 0xF) {
      if (object.start >= tableStart_ || (bytes_[object.start] >> 4) != 0x1 || (bytes_[object.start] & 0xF) > 3) {
        return fail("object count is not an integer");
      }
      const std::size_t width = std::size_t{1} << (bytes_[object.start] & 0x3);
      if (tableStart_ - object.start - 1 < width) return fail("object count runs past the object area");
      object.count = bigEndian(bytes_.data() + object.start + 1, width);
      object.start += 1 + width;
    }
    object.available = tableStart_ - object.start;
    return true;
  }

  // The text of a string object: ASCII (0x5) or big-endian UTF-16 (0x6).
  // Texts must be valid and hold no NUL: texts travel on to file paths and
  // C interfaces that would end them at a NUL and act on another text than
  // the one checked.
  bool text(const Object& object, std::string& out) {
    if (object.type == 0x5) {
      if (object.count > object.available) return fail("text runs past the object area");
      if (!charge(object.count)) return false;
      const std::uint8_t* p = bytes_.data() + object.start;
      for (std::uint64_t i = 0; i < object.count; ++i) {
        if (p[i] == 0 || p[i] >= 0x80)
          return fail(p[i] == 0 ? "text holds a NUL character" : "ASCII text holds a byte above 0x7F");
      }
      out.assign(reinterpret_cast<const char*>(p), object.count);
      return true;
    }
    if (object.count > object.available / 2) return fail("text runs past the object area");
    // Each UTF-16 unit becomes at most three UTF-8 bytes.
    if (!charge(object.count * 3)) return false;
    out.reserve(object.count * 3);
    const std::uint8_t* p = bytes_.data() + object.start;
    for (std::uint64_t i = 0; i < object.count; ++i) {
      std::uint32_t c = (std::uint32_t{p[2 * i]} << 8) | p[2 * i + 1];
      if (c >= 0xD800 && c <= 0xDFFF) {
        if (c >= 0xDC00 || i + 1 == object.count) return fail("UTF-16 text holds a lone surrogate");
        const std::uint32_t low = (std::uint32_t{p[2 * i + 2]} << 8) | p[2 * i + 3];
        if (low < 0xDC00 || low > 0xDFFF) return fail("UTF-16 text holds a lone surrogate");
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      } else if (c == 0) {
        return fail("text holds a NUL character");
      }
      appendUTF8(out, c);
    }
    return true;
  }

  // A scalar's slot is charged with its container.
  bool scalar(const Object& object, AnyValue& out) {
    const std::uint8_t* p = bytes_.data() + object.start;
    switch (object.type) {
      case 0x0:
        if (object.info == 0x8 || object.info == 0x9) {
          out = object.info == 0x9;
          return true;
        }
        return fail(object.info == 0x0 ? "null object (property lists have no null)" : "unknown object marker");
      case 0x1: {
        // 1, 2 and 4 bytes are unsigned, 8 bytes signed; 16 bytes hold the
        // unsigned values above the signed range (high half zero) or a
        // sign-extended negative value.
        if (object.info > 4) return fail("integer wider than 16 bytes");
        const std::size_t width = std::size_t{1} << object.info;
        if (object.available < width) return fail("integer runs past the object area");
        if (width < 16) {
          out = static_cast<std::int64_t>(bigEndian(p, width));  // 8 bytes: two's complement
          return true;
        }
        const std::uint64_t high = bigEndian(p, 8);
        const std::uint64_t low = bigEndian(p + 8, 8);
        const bool lowIsNegative = low > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (high == 0) {
          out = lowIsNegative ? AnyValue(low) : AnyValue(static_cast<std::int64_t>(low));
        } else if (high == std::numeric_limits<std::uint64_t>::max() && lowIsNegative) {
          out = static_cast<std::int64_t>(low);
        } else {
          return fail("integer beyond 64 bits");
        }
        return true;
      }
      case 0x2:
        if (object.info == 2 && object.available >= 4) {
          out = static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(p, 4))));
          return true;
        }
        if (object.info == 3 && object.available >= 8) {
          out = std::bit_cast<double>(bigEndian(p, 8));
          return true;
        }
        return fail("real of an invalid size");
      case 0x3: {
        if (object.info != 3 || object.available < 8) return fail("date of an invalid size");
        const auto seconds = std::bit_cast<double>(bigEndian(p, 8));
        if (!std::isfinite(seconds)) return fail("date is not finite");
        out = Date::withTimeIntervalSinceReferenceDate(seconds);
        return true;
      }
      case 0x4:
        if (object.count > object.available) return fail("data runs past the object area");
        if (!charge(object.count)) return false;
        out = Data(p, p + object.count);
        return true;
      case 0x5:
      case 0x6: {
        std::string s;
        if (!text(object, s)) return false;
        out = std::move(s);
        return true;
      }
      case 0x8:
        return fail("UID object (keyed archives are not read as property lists)");
      default:
        return fail("unsupported object type");
    }
  }

  // Reads the object `index` refers to: a scalar is delivered at once, a
  // container becomes a frame to fill.
  bool visit(std::uint64_t index) {
    Object object;
    if (!locate(index, object)) return false;
    if (object.type == 0xA || object.type == 0xD) {
      const bool dictionary = object.type == 0xD;
      const std::uint64_t perEntry = referenceSize_ * (dictionary ? 2 : 1);
      if (object.count > object.available / perEntry) return fail("container runs past the object area");
      if (stack_.size() >= maxValueDepth) {
        return fail("nested deeper than " + std::to_string(maxValueDepth) + " levels");
      }
      if (filling_[index] != 0) return fail("a container contains itself");
      if (!charge(object.count * (dictionary ? sizeof(TextDictionary::Entry) : sizeof(AnyValue)))) return false;
      filling_[index] = 1;
      Frame& frame = stack_.emplace_back();
      frame.object = index;
      frame.references = object.start;
      frame.count = object.count;
      frame.dictionary = dictionary;
      if (dictionary) {
        frame.entries.reserve(object.count);
      } else {
        frame.items.reserve(object.count);
      }
      return true;
    }
    AnyValue value;
    if (!scalar(object, value)) return false;
    deliver(std::move(value));
    return true;
  }

  void deliver(AnyValue value) {
    if (stack_.empty()) {
      root_ = std::move(value);
    } else if (stack_.back().dictionary) {
      stack_.back().entries.back().second = std::move(value);
    } else {
      stack_.back().items.push_back(std::move(value));
    }
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::uint64_t tableStart_ = 0;
  std::uint64_t budget_ = 0;
  std::vector<std::uint8_t> filling_;  // per object: a container being filled
  std::vector<Frame> stack_;
  std::optional<AnyValue> root_;
  std::string error_;
};

}  // namespace

ReadResult readBinary(std::span<const std::uint8_t> bytes) { return BinaryReader(bytes).read(); }

}  // namespace Keel::PropertyList::detail
