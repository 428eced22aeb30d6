// A dump of the library's lists into the system log, for development. No request reaches it. Core thread.
#pragma once

namespace moxtel {

class ContainerTree;
class Faces;

// Two of the lists are those of two folders of the sample library.
void testDatabase(ContainerTree& tree, Faces& faces);

}  // namespace moxtel
