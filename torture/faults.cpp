#include "torture/faults.h"

#include <dlfcn.h>
#include <link.h>
#include <unwind.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace torture {

const char *const KIND_NAMES[KINDS] = {"malloc", "thread", "socket", "open", "write", "mmap", "read", "net", "object"};

namespace {

enum Owner { OURS, STANDARD, SELF, OTHER };

struct Range {
    uintptr_t begin, end;
    Owner owner;
};

Range ranges[32];
size_t rangeCount = 0;

std::atomic<FaultRecord *> record{nullptr};
Kind failingKind = MALLOC;
long firstFailing = -1, lastFailing = -1;

Owner OwnerOf(uintptr_t place) {
    for (size_t i = 0; i < rangeCount; ++i) {
        if (place >= ranges[i].begin && place < ranges[i].end) {
            return ranges[i].owner;
        }
    }
    return OTHER;
}

Owner OwnerOfFile(const char *path) {
    static const char *const NAMES[] = {"libzelvane.", "libZv", "libHW_", "libG711.", "libMP2.", "libFAAC."};
    const char *slash = std::strrchr(path, '/');
    const char *name = slash != nullptr ? slash + 1 : path;
    if (std::any_of(std::begin(NAMES), std::end(NAMES), [&](auto *n) { return strncmp(name, n, strlen(n)) == 0; })) {
        return OURS;
    }
    return *name == '\0' ? SELF : strncmp(name, "libstdc++.", 10) == 0 ? STANDARD : OTHER;
}

int NoteLibrary(dl_phdr_info *info, size_t, void *count) {
    static bool self = false;  // the program comes first; what else has no name is the kernel's
    const Owner owner = OwnerOfFile(info->dlpi_name);
    if (owner == OTHER || (owner == SELF && std::exchange(self, true))) {
        return 0;
    }
    *static_cast<size_t *>(count) += owner == OURS;
    for (int i = 0; i < info->dlpi_phnum && rangeCount < std::size(ranges); ++i) {
        const ElfW(Phdr) &part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
            ranges[rangeCount++] = {info->dlpi_addr + part.p_vaddr, info->dlpi_addr + part.p_vaddr + part.p_memsz,
                                    owner};
        }
    }
    return 0;
}

/** Who made libstdc++ call: the first behind it and this program's own functions. */
struct Search {
    Owner passing = SELF;
    bool ours = false;
};

_Unwind_Reason_Code Step(_Unwind_Context *context, void *state) {
    Search &search = *static_cast<Search *>(state);
    const Owner owner = OwnerOf(_Unwind_GetIP(context));
    if (owner == STANDARD) {
        search.passing = STANDARD;
    }
    search.ours = owner == OURS;
    return owner == search.passing ? _URC_NO_REASON : _URC_NORMAL_STOP;
}

/** libstdc++ makes the strings of our libraries grow. */
bool ComesFromOurs(uintptr_t caller) {
    const Owner owner = OwnerOf(caller);
    if (owner != STANDARD) {
        return owner == OURS;
    }
    Search search;
    _Unwind_Backtrace(Step, &search);
    return search.ours;
}

_Unwind_Reason_Code NoteFrame(_Unwind_Context *context, void *to) {
    FaultRecord &note = *static_cast<FaultRecord *>(to);
    const uintptr_t place = _Unwind_GetIP(context);
    if (note.depth == std::size(note.place)) {
        return _URC_NORMAL_STOP;
    }
    if (note.depth > 0 || OwnerOf(place) != SELF) {
        note.place[note.depth++] = place;
    }
    return _URC_NO_REASON;
}

}  // namespace

size_t LearnLibraries() {
    size_t count = 0;
    dl_iterate_phdr(NoteLibrary, &count);
    return count;
}

void Arm(FaultRecord *to, Kind kind, long first, long many) {
    failingKind = kind;
    firstFailing = first;
    lastFailing = first < 0 ? -1 : first + many - 1;
    record = to;
}

void Disarm() { record = nullptr; }

bool Fails(Kind kind, const char *what, const void *caller) {
    FaultRecord *const note = record;
    if (note == nullptr || !ComesFromOurs(reinterpret_cast<uintptr_t>(caller))) {
        return false;
    }
    const long number = note->calls[kind]++;
    if (kind != failingKind || number < firstFailing || number > lastFailing) {
        return false;
    }
    if (note->failed++ == 0) {
        strncpy(note->what, what, sizeof(note->what) - 1);
        _Unwind_Backtrace(NoteFrame, note);
    }
    return true;
}

}  // namespace torture
