// User defaults: settings by key. The command line (-Key value) overrides the user's settings file, which
// overrides the registered values.
//
// An absent key reads as NO, 0, or nothing; a text that is not a number reads as 0.
// Any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// Stores the settings that outlive the process. UserDefaults calls it under its own lock.
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  virtual std::optional<std::string> read(std::string_view key) = 0;
  virtual void write(std::string_view key, std::string_view value) = 0;
  virtual void remove(std::string_view key) = 0;
  // For messages: the file's path, or a description.
  virtual std::string where() const = 0;

 protected:
  SettingsStore() = default;
  SettingsStore(const SettingsStore&) = default;
  SettingsStore& operator=(const SettingsStore&) = default;
};

// Keeps settings in memory, for tests.
class MemorySettingsStore : public SettingsStore {
 public:
  std::optional<std::string> read(std::string_view key) override;
  void write(std::string_view key, std::string_view value) override;
  void remove(std::string_view key) override;
  std::string where() const override { return "(memory)"; }

 private:
  std::map<std::string, std::string, std::less<>> values_;
};

// The user's settings file (XDG configuration folder; $STATE_DIRECTORY of a service).
std::unique_ptr<SettingsStore> makeUserSettingsStore();

enum class DefaultKind : std::uint8_t { Text, Boolean, Integer };

// A key that the command line may set, with the placeholder of its value for --help.
struct DefaultKey {
  std::string_view name;
  DefaultKind kind = DefaultKind::Text;
  std::string_view help;
};

class UserDefaults final {
 public:
  explicit UserDefaults(std::unique_ptr<SettingsStore> store = std::make_unique<MemorySettingsStore>());

  // Takes "-Key value" pairs. The keys are those given; booleans YES/NO/true/false/1/0, integers decimal.
  // Returns an empty text, or an error message for the user; then no value is changed.
  [[nodiscard]] std::string parseArguments(const std::vector<std::string>& arguments,
                                           const std::vector<DefaultKey>& keys);
  void registerDefaults(const Dictionary& values);

  std::optional<std::string> stringForKey(std::string_view key) const;
  bool boolForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const;
  // Stores a value in the settings file. It also replaces a value of the key from the command line.
  void setString(std::string_view key, std::string_view value);
  void setBool(std::string_view key, bool value);
  void remove(std::string_view key);
  std::string where() const { return store_->where(); }

 private:
  std::optional<Value> find(std::string_view key) const;

  mutable std::mutex mutex_;
  std::unique_ptr<SettingsStore> store_;
  std::map<std::string, std::string, std::less<>> arguments_;
  Dictionary registered_;
};

}  // namespace moxtel
