#include "platform/settings/UserDefaults.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "platform/settings/ArgumentAdvice.h"
#include "value/NumberText.h"

namespace moxtel {

namespace {

constexpr std::string_view kYes = "YES";
constexpr std::string_view kNo = "NO";

bool isEqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

bool isBoolean(std::string_view text) {
  constexpr std::array<std::string_view, 6> kWords{"YES", "NO", "true", "false", "1", "0"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [&](std::string_view word) { return isEqualIgnoringCase(text, word); });
}

bool isInteger(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return false;
  }
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

const DefaultKey* keyOfOption(std::string_view option, const std::vector<DefaultKey>& keys) {
  if (!option.starts_with('-')) return nullptr;
  const auto found = std::find_if(keys.begin(), keys.end(),
                                  [&](const DefaultKey& key) { return key.name == option.substr(1); });
  return found == keys.end() ? nullptr : &*found;
}

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// Why an option's value is invalid; empty if it is valid.
std::string problemWith(const DefaultKey& key, std::string_view value) {
  const std::string option = "-" + std::string(key.name);
  if (value.find('\0') != std::string_view::npos) return "the value of " + option + " holds a NUL";
  if (key.kind == DefaultKind::Boolean && !isBoolean(value)) {
    return option + " takes YES or NO, not " + quoted(value);
  }
  if (key.kind == DefaultKind::Integer && !isInteger(value)) {
    return option + " takes a whole number, not " + quoted(value);
  }
  return {};
}

std::optional<std::string> textOf(const Value& value) {
  switch (value.type()) {
    case Value::Type::String:
      return std::string(value.string());
    case Value::Type::Boolean:
      return value.boolValue() ? "1" : "0";
    case Value::Type::Integer:
      return std::to_string(value.integerValue());
    case Value::Type::Real:
      return shortestReal(value.doubleValue());
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> MemorySettingsStore::read(std::string_view key) {
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void MemorySettingsStore::write(std::string_view key, std::string_view value) {
  values_.insert_or_assign(std::string(key), std::string(value));
}

void MemorySettingsStore::remove(std::string_view key) {
  const auto found = values_.find(key);
  if (found != values_.end()) values_.erase(found);
}

UserDefaults::UserDefaults(std::unique_ptr<SettingsStore> store) : store_(std::move(store)) {}

std::string UserDefaults::parseArguments(const std::vector<std::string>& arguments,
                                         const std::vector<DefaultKey>& keys) {
  std::map<std::string, std::string, std::less<>> taken;
  for (std::size_t i = 0; i < arguments.size(); i += 2) {
    const DefaultKey* key = keyOfOption(arguments[i], keys);
    if (!key) return messageAboutArgument(arguments, i, keys);
    if (i + 1 == arguments.size() || keyOfOption(arguments[i + 1], keys)) {
      return arguments[i] + " lacks its value";
    }
    std::string problem = problemWith(*key, arguments[i + 1]);
    if (!problem.empty()) return problem;
    taken.insert_or_assign(std::string(key->name), arguments[i + 1]);
  }
  const std::lock_guard lock(mutex_);
  for (auto& [key, value] : taken) arguments_.insert_or_assign(key, value);
  return {};
}

void UserDefaults::registerDefaults(const Dictionary& values) {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, value] : values) registered_.set(key, value);
}

std::optional<Value> UserDefaults::find(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  if (const auto argument = arguments_.find(key); argument != arguments_.end()) {
    return Value(argument->second);
  }
  if (const auto stored = store_->read(key)) return Value(*stored);
  if (const Value* registered = registered_.find(key)) return *registered;
  return std::nullopt;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  const auto value = find(key);
  return value ? textOf(*value) : std::nullopt;
}

bool UserDefaults::boolForKey(std::string_view key) const {
  const auto value = find(key);
  return value && value->boolValue();
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
  const auto value = find(key);
  return value ? value->integerValue() : 0;
}

void UserDefaults::setString(std::string_view key, std::string_view value) {
  const std::lock_guard lock(mutex_);
  store_->write(key, value);
  if (const auto argument = arguments_.find(key); argument != arguments_.end()) arguments_.erase(argument);
}

void UserDefaults::setBool(std::string_view key, bool value) { setString(key, value ? kYes : kNo); }

void UserDefaults::remove(std::string_view key) {
  const std::lock_guard lock(mutex_);
  store_->remove(key);
  if (const auto argument = arguments_.find(key); argument != arguments_.end()) arguments_.erase(argument);
}

}  // namespace moxtel
