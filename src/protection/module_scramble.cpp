#include "protection/module_scramble.h"

#include <stdlib.h>
#include <string.h>

void SCRAMBLE_FreeKey(HANDLE *phKey) {
    if (phKey == nullptr || *phKey == nullptr) {
        return;
    }
    explicit_bzero(*phKey, sizeof(DRV_SCRAMBLE_CFG_S));
    free(*phKey);
    *phKey = nullptr;
}
