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
