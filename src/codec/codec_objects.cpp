#include "codec/codec_objects.h"

#include <mutex>
#include <new>
#include <unordered_map>

namespace {

struct ENTRY {
    const CODEC_INFO_S *pstOwner;
    CODEC_DESTROY_PF pfnDestroy;
};

struct OBJECT_LIST {
    std::mutex oMutex;
    std::unordered_map<void *, ENTRY> oEntries;
};

// Never destroyed: a client may still free its records while the process ends. In memory of its own, since a release
// may be what asks for it first.
OBJECT_LIST &List() {
    alignas(OBJECT_LIST) static unsigned char aucMemory[sizeof(OBJECT_LIST)];
    static OBJECT_LIST &oList = *new (aucMemory) OBJECT_LIST;
    return oList;
}

// Strikes one object without an owner off the list. Null if there is none.
void *ReclaimAbandoned(ENTRY &stEntry) {
    OBJECT_LIST &oList = List();
    std::lock_guard oGuard(oList.oMutex);
    for (auto oIt = oList.oEntries.begin(); oIt != oList.oEntries.end(); ++oIt) {
        if (oIt->second.pstOwner == nullptr) {
            void *const pObject = oIt->first;
            stEntry = oIt->second;
            oList.oEntries.erase(oIt);
            return pObject;
        }
    }
    return nullptr;
}

}  // namespace

bool Codec_Keep(const CODEC_INFO_S *pstOwner, void *pObject, CODEC_DESTROY_PF pfnDestroy) {
    try {
        OBJECT_LIST &oList = List();
        std::lock_guard oGuard(oList.oMutex);
        oList.oEntries.insert_or_assign(pObject, ENTRY{pstOwner, pfnDestroy});
        return true;
    } catch (const std::bad_alloc &) {
        pfnDestroy(pObject);
        return false;
    }
}

void Codec_Drop(void *pObject) {
    OBJECT_LIST &oList = List();
    ENTRY stEntry;
    {
        std::lock_guard oGuard(oList.oMutex);
        const auto oIt = oList.oEntries.find(pObject);
        if (oIt == oList.oEntries.end()) {
            return;
        }
        stEntry = oIt->second;
        oList.oEntries.erase(oIt);
    }
    stEntry.pfnDestroy(pObject);
}

void Codec_Abandon(const CODEC_INFO_S *pstOwner) {
    OBJECT_LIST &oList = List();
    std::lock_guard oGuard(oList.oMutex);
    for (auto &oEntry : oList.oEntries) {
        if (oEntry.second.pstOwner == pstOwner) {
            oEntry.second.pstOwner = nullptr;
        }
    }
}

void Codec_DropAbandoned() {
    ENTRY stEntry;
    while (void *pObject = ReclaimAbandoned(stEntry)) {
        stEntry.pfnDestroy(pObject);
    }
}
