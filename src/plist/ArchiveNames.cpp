#include "plist/ArchiveNames.h"

#include <charconv>

namespace moxtel {

ArchiveClass archiveClassNamed(std::string_view name) noexcept {
  struct Named {
    std::string_view name;
    ArchiveClass kind;
  };
  static constexpr Named kClasses[] = {{"NSMutableDictionary", ArchiveClass::MutableDictionary},
                                       {"NSMutableArray", ArchiveClass::MutableArray},
                                       {"NSDictionary", ArchiveClass::Dictionary},
                                       {"NSArray", ArchiveClass::Array},
                                       {"NSString", ArchiveClass::String},
                                       {"NSMutableString", ArchiveClass::String},
                                       {"NSData", ArchiveClass::Data},
                                       {"NSMutableData", ArchiveClass::Data},
                                       {"NSDate", ArchiveClass::Date},
                                       {"NSNull", ArchiveClass::Null},
                                       {"NSSet", ArchiveClass::Array},
                                       {"NSMutableSet", ArchiveClass::MutableArray}};
  for (const Named& known : kClasses) {
    if (known.name == name) return known.kind;
  }
  return ArchiveClass::None;
}

std::uint64_t ArchiveFields::*archiveFieldNamed(std::string_view name) noexcept {
  struct Named {
    std::string_view name;
    std::uint64_t ArchiveFields::*field;
  };
  static constexpr Named kFields[] = {
      {"$class", &ArchiveFields::classUid},    {"NS.keys", &ArchiveFields::keys},
      {"NS.objects", &ArchiveFields::objects}, {"NS.string", &ArchiveFields::string},
      {"NS.bytes", &ArchiveFields::bytes},     {"NS.data", &ArchiveFields::data},
      {"NS.time", &ArchiveFields::time}};
  for (const Named& known : kFields) {
    if (known.name == name) return known.field;
  }
  return nullptr;
}

std::optional<std::uint64_t> numberAfter(std::string_view prefix, std::string_view text) noexcept {
  if (!text.starts_with(prefix) || text.size() == prefix.size()) return std::nullopt;
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + prefix.size(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

}  // namespace moxtel
