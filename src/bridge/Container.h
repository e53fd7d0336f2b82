// Container.h - opening the virtual volume of a ".zqx" container on disk.
//
// A container is opened read-only, big-endian, with doubles swapped as the format
// stores them; the answer is the root folder item of its volume. Close it with
// CloseContainerRoot, which destroys the volume the root refers to and then the root.
#ifndef ZYNE_BRIDGE_CONTAINER_H
#define ZYNE_BRIDGE_CONTAINER_H

class FolderItemImp;

/// The root folder item of the container `file` (not owned), or nil when it cannot be
/// opened for reading. The caller closes the answer with CloseContainerRoot.
FolderItemImp* OpenContainerRoot(FolderItemImp* file);
/// Destroys the volume behind `root`, then `root`. Nil is harmless.
void CloseContainerRoot(FolderItemImp* root);

#endif  // ZYNE_BRIDGE_CONTAINER_H
