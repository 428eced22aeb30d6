#include "library/completeness/DatabaseDump.h"

#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "platform/system/SystemLog.h"
#include "support/SampleLibrary.h"

namespace moxtel {

void testDatabase(ContainerTree& tree, Faces& faces) {
  NSLog("\n-------------------- DATABASE TESTS ---------------------\n\n");
  NSLog("albums: %@", tree.albumsFromDB());
  NSLog("top level projects: %@", tree.containersInParentUuid("AllProjectsItem"));
  NSLog("inside '1 Project in FolderInProjects': %@",
        tree.containersInParentUuid(SampleLibrary::kFolderInProjectsUuid));
  NSLog("inside 'Folder': %@", tree.containersInParentUuid(SampleLibrary::kFolderUuid));
  NSLog("Albums?: %@", tree.containersInParentUuid("TopLevelAlbums"));
  NSLog("faces: %@", faces.facesAlbums());
}

}  // namespace moxtel
