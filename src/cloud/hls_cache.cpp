// The cache folder: its settings, and what goes when it has grown too big.
#include <dirent.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "cloud/hls_tls.h"
#include "cloud/module_hls.h"
#include "foundations/guards.h"

PLAYER_HLS_STREAM_INFO_S gstHlsStreamInfo;

namespace {

const ULONG_32 DEFAULT_LIMIT_MIB = 500;
const ULONG_32 POLICY_FAILED = 0xFFFFFFFF;
const size_t MAX_PATH_LEN = 255;
const ULONG_32 MIB_SHIFT = 20;

/** Guards path and limit. Static: a client may set them before the library runs. */
QLOM_SDK_MUTEX_S gstSettingsMutex = PTHREAD_MUTEX_INITIALIZER;

using DirPtr = std::unique_ptr<DIR, int (*)(DIR *)>;

/** A folder's name with its separator at the end; one without any "/" is taken for the other kind of path. */
std::string FolderPrefix(std::string strFolder) {
    const CHAR cSeparator = strFolder.find('/') != std::string::npos ? '/' : '\\';
    if (strFolder.empty() || strFolder.back() != cSeparator) {
        strFolder += cSeparator;
    }
    return strFolder;
}

bool IsFolderItself(const CHAR *pcName) { return strcmp(pcName, ".") == 0 || strcmp(pcName, "..") == 0; }

/** Measures the regular files; links and all else are nobody's cached segments. False if one can't be looked at. */
bool ReadFiles(const std::string &strPrefix, std::vector<HLS_FILE_INFO_S> *pastFiles) {
    DirPtr pDir(opendir(strPrefix.c_str()), closedir);
    if (pDir == nullptr) {
        return false;
    }
    while (const struct dirent *pstEntry = readdir(pDir.get())) {
        if (IsFolderItself(pstEntry->d_name) || pstEntry->d_type == DT_DIR) {
            continue;
        }
        const std::string strPath = strPrefix + pstEntry->d_name;
        struct stat64 stStat;
        if (strPath.size() > MAX_PATH_LEN || lstat64(strPath.c_str(), &stStat) != 0) {
            return false;
        }
        if (S_ISREG(stStat.st_mode)) {
            pastFiles->push_back(
                {pstEntry->d_name, static_cast<ULONG>(stStat.st_mtime), static_cast<DULONG>(stStat.st_size)});
        }
    }
    return true;
}

void RemoveOldest(const std::string &strPrefix, std::vector<HLS_FILE_INFO_S> &astFiles, DULONG dulLimit) {
    DULONG dulSum = 0;
    for (const HLS_FILE_INFO_S &stFile : astFiles) {
        dulSum += stFile.ulFileSize;
    }
    std::stable_sort(astFiles.begin(), astFiles.end(), [](const HLS_FILE_INFO_S &stA, const HLS_FILE_INFO_S &stB) {
        return stA.ulCreationTime < stB.ulCreationTime;
    });
    for (auto it = astFiles.begin(); it != astFiles.end() && dulSum > dulLimit; ++it) {
        if (unlink((strPrefix + it->strFileName).c_str()) == 0) {
            dulSum -= it->ulFileSize;
        }
    }
}

}  // namespace

ULONG_32 Hls_Disk_Policy(const CHAR *pcFolderPath, ULONG_32 ulMaxCacheValue) {
    if (pcFolderPath == nullptr) {
        return POLICY_FAILED;
    }
    try {
        const std::string strPrefix = FolderPrefix(pcFolderPath);
        std::vector<HLS_FILE_INFO_S> astFiles;
        if (!ReadFiles(strPrefix, &astFiles)) {
            return POLICY_FAILED;
        }
        RemoveOldest(strPrefix, astFiles, DULONG{ulMaxCacheValue} << MIB_SHIFT);
        return PLAYER_ERR_OK;
    } catch (const std::bad_alloc &) {
        return POLICY_FAILED;
    }
}

void HlsCache_Startup() {
    HlsCache_SetLimit(DEFAULT_LIMIT_MIB);
    QLOM_SDK_mutex_init(0, nullptr, &gstHlsStreamInfo.stHlsMulticMutex);
}

void HlsCache_Cleanup() {
    HlsTls_Cleanup();
    QLOM_SDK_mutex_destroy(&gstHlsStreamInfo.stHlsMulticMutex);
}

HLS_CACHE_PATH_S HlsCache_Path() {
    HLS_CACHE_PATH_S stPath = {};
    CMutexGuard oGuard(&gstSettingsMutex);
    memcpy(stPath.szPath, gstHlsStreamInfo.szCachePath, sizeof(gstHlsStreamInfo.szCachePath));
    return stPath;
}

ULONG_32 HlsCache_Limit() {
    CMutexGuard oGuard(&gstSettingsMutex);
    return gstHlsStreamInfo.ulMaxCacheValue;
}

void HlsCache_SetPath(const CHAR *pcCachePath) {
    CMutexGuard oGuard(&gstSettingsMutex);
    CHAR(&szField)[PLAYER_FILE_NAME_LEN] = gstHlsStreamInfo.szCachePath;
    memset(szField, 0, sizeof(szField));
    memcpy(szField, pcCachePath, std::min(strlen(pcCachePath), sizeof(szField)));
}

void HlsCache_SetLimit(ULONG_32 ulMegabytes) {
    CMutexGuard oGuard(&gstSettingsMutex);
    gstHlsStreamInfo.ulMaxCacheValue = ulMegabytes;
}
