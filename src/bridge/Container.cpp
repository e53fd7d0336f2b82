// Container.cpp - opening and closing a container's volume.
#include "bridge/Container.h"

#include "files/FolderItemImp.h"
#include "streams/RandomAccessMechanism.h"
#include "virtualvolume/UnixFolderItemImpVirtual.h"
#include "virtualvolume/VHFSVolume.h"

FolderItemImp* OpenContainerRoot(FolderItemImp* file) {
    if (file == nullptr) return nullptr;
    RandomAccessMechanism* stream = file->OpenFile(1, 0);
    if (stream == nullptr) return nullptr;
    stream->SetBigEndian();
    stream->SetSwapDoubles(true);
    auto* volume = new VHFSVolume(stream, 1);  // owns the stream from here on
    return new UnixFolderItemImpVirtual(volume, volume->GetRoot());
}

void CloseContainerRoot(FolderItemImp* root) {
    if (root == nullptr) return;
    // Only OpenContainerRoot makes the items passed here.
    auto* virtualRoot = static_cast<UnixFolderItemImpVirtual*>(root);
    delete virtualRoot->GetVolume();
    delete root;
}
