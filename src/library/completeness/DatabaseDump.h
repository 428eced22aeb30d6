// Kept for completeness, no request reaches it: logs the library's lists, for development. Core thread.
#pragma once

namespace moxtel {

class ContainerTree;
class Faces;

// Two of the lists are those of folders of the sample library.
void testDatabase(ContainerTree& tree, Faces& faces);

}  // namespace moxtel
