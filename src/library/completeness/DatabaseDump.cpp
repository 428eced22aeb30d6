#include "library/completeness/DatabaseDump.h"

#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "platform/system/SystemLog.h"
#include "support/SampleLibrary.h"

namespace moxtel {

void testDatabase(ContainerTree& tree, Faces& faces) {
  NSLog("\n-------------------- DATABASE TESTS ---------------------\n\n");
  writeSystemLog(format("albums: %@", tree.albumsFromDB()));
  writeSystemLog(format("top level projects: %@", tree.containersInParentUuid("AllProjectsItem")));
  writeSystemLog(format("inside '1 Project in FolderInProjects': %@",
                        tree.containersInParentUuid(SampleLibrary::kFolderInProjectsUuid)));
  writeSystemLog(format("inside 'Folder': %@", tree.containersInParentUuid(SampleLibrary::kFolderUuid)));
  writeSystemLog(format("Albums?: %@", tree.containersInParentUuid("TopLevelAlbums")));
  writeSystemLog(format("faces: %@", faces.facesAlbums()));
}

}  // namespace moxtel
