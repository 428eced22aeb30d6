// Prints the properties of the given files as one keyed archive: a dictionary by path.
#include "pictures/properties/ImageProperties.h"
#include "platform/files/FileReader.h"
#include "platform/process/ChildProcess.h"
#include "platform/process/Confinement.h"
#include "plist/KeyedArchive.h"

int main(int count, char** words) {
  using namespace moxtel;
  SystemProcessRunner processes;
  ImagePropertyReader reader(processes);
  Dictionary all;
  for (int i = 1; i < count; ++i) {
    auto found = reader.propertiesOf(openRegularFile(words[i]));
    if (found) all.set(words[i], *std::move(found));
  }
  return writeToStandardOutput(archivedData(all)) ? 0 : 1;
}
