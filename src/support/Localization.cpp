#include "support/Localization.h"

#include <memory>
#include <mutex>

namespace moxtel {

namespace {
std::mutex translatorMutex;
std::shared_ptr<const Translator> currentTranslator;
}  // namespace

void setTranslator(Translator translator) {
  auto taken = translator ? std::make_shared<const Translator>(std::move(translator)) : nullptr;
  const std::lock_guard lock(translatorMutex);
  currentTranslator.swap(taken);
}

std::string localizedReason(std::string_view english) {
  constexpr std::string_view kColon = ": ";
  const std::size_t colon = english.find(kColon);
  if (colon == std::string_view::npos) return localizedString(english);
  return localizedString(english.substr(0, colon)) + ": " +
         localizedString(english.substr(colon + kColon.size()));
}

std::string localizedString(std::string_view key) {
  std::shared_ptr<const Translator> translator;
  {
    const std::lock_guard lock(translatorMutex);
    translator = currentTranslator;
  }
  std::string found = translator ? (*translator)(key) : std::string();
  return found.empty() ? std::string(key) : found;
}

}  // namespace moxtel
