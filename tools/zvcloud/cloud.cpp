#include "zvcloud/cloud.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "zvcloud/blocks.h"

namespace zvcloud {
namespace {

namespace fs = std::filesystem;

bool Fail(Failure *failure, const std::string &what) {
    *failure = {kExitOutput, what, ""};
    return false;
}

bool WriteText(const std::string &path, const std::string &text, Failure *failure) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return !file.fail() || Fail(failure, path + ": can't be written");
}

std::string SegmentName(size_t index) {
    char name[32];
    std::snprintf(name, sizeof name, "seg%05zu.ts", index);
    return name;
}

/** The segments as they come, and the playlist's lines about them. */
class Writer {
 public:
    explicit Writer(const Options &options) : options_(options) {}

    /** Adds a frame; a key frame far enough from the segment's beginning begins the next one. */
    bool Add(const Block &block) {
        if (starts_.empty() && !block.key) return true;
        if (block.key && (starts_.empty() || block.seconds - starts_.back() >= options_.segment)) {
            if (!Close()) return false;
            file_.open(options_.folder + "/www/rec/" + SegmentName(starts_.size()), std::ios::binary);
            starts_.push_back(block.seconds);
        }
        file_.write(reinterpret_cast<const char *>(block.packets.data()),
                    static_cast<std::streamsize>(block.packets.size()));
        end_ = std::max(end_, block.seconds);
        return file_.good();
    }
    bool Close() {
        if (!file_.is_open()) return true;
        file_.close();
        return !file_.fail();
    }
    size_t Segments() const { return starts_.size(); }

    /** Times are whole seconds, so a segment's length is the distance of two starts as they are written. */
    std::string Playlist() const {
        std::string entries;
        uint32_t longest = 1;
        for (size_t i = 0; i < starts_.size(); ++i) {
            const uint32_t length = StartOf(i + 1) - StartOf(i);
            longest = std::max(longest, length);
            entries += Entry(i, length);
        }
        return "#EXTM3U\n#EXT-X-TARGETDURATION:" + std::to_string(longest) + "\n" + entries + "#EXT-X-ENDLIST\n";
    }

 private:
    uint32_t StartOf(size_t index) const {
        const double seconds = index < starts_.size() ? starts_[index] : std::max(end_ + 0.04, starts_.back() + 1);
        return options_.start + static_cast<uint32_t>(std::lround(seconds));
    }
    std::string Entry(size_t index, uint32_t length) const {
        const std::time_t time = StartOf(index);
        struct tm parts = {};
        char date[64];
        std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S.000+00:00", gmtime_r(&time, &parts));
        return "#EXTINF:" + std::to_string(length) + ",\n#EXT-X-PROGRAM-DATE-TIME:" + date + ",\n" +
               (options_.https ? "https://" : "http://") + options_.host + "/rec/" + SegmentName(index) +
               (options_.query.empty() ? "" : "?" + options_.query) + "\n";
    }

    const Options &options_;
    std::ofstream file_;
    std::vector<double> starts_;  ///< of the segments, seconds from the first frame
    double end_ = 0;
};

/** Runs openssl without a shell's view of the folder's name. */
bool Openssl(const Options &options, const std::string &arguments) {
    setenv("ZVCLOUD_FOLDER", options.folder.c_str(), 1);
    const std::string command = "cd \"$ZVCLOUD_FOLDER\" && openssl " + arguments + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

bool IsAddress(const std::string &host) { return host.find_first_not_of("0123456789.") == std::string::npos; }

}  // namespace

bool WriteRecording(const Options &options, size_t *segments, Failure *failure) {
    std::error_code error;
    fs::create_directories(options.folder + "/www/rec", error);
    if (error) return Fail(failure, options.folder + ": " + error.message());
    const std::unique_ptr<BlockSource> source = BlockSource::Open(options, failure);
    if (source == nullptr) return false;
    Writer writer(options);
    Block block;
    while (source->Next(&block) && block.seconds < options.seconds) {
        if (!writer.Add(block)) return Fail(failure, options.folder + ": a segment can't be written");
    }
    if (!writer.Close()) return Fail(failure, options.folder + ": a segment can't be written");
    *segments = writer.Segments();
    if (*segments == 0) {
        *failure = {kExitSource, options.file + ": no key frame in it", "zvprobe tells what is in the file"};
        return false;
    }
    return WriteText(options.folder + "/recording.m3u8", writer.Playlist(), failure);
}

bool WriteCertificate(const Options &options, Failure *failure) {
    const std::string key = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
    const std::string names = "subjectAltName=DNS:localhost,IP:127.0.0.1" +
                              std::string(IsAddress(options.host) ? ",IP:" : ",DNS:") + options.host;
    return WriteText(options.folder + "/server.ext", names + "\n", failure) &&
           ((Openssl(options, "req -x509 " + key + " -days 30 -subj /CN=zvcloud -keyout ca.key -out ca.pem") &&
             Openssl(options, "req " + key + " -subj /CN=zvcloud-server -keyout server.key -out server.csr") &&
             Openssl(options,
                     "x509 -req -days 30 -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial "
                     "-extfile server.ext -out server.pem")) ||
            Fail(failure, "openssl makes no certificate"));
}

bool WriteConfiguration(const Options &options, std::string *text, Failure *failure) {
    std::error_code error;
    const std::string folder = fs::absolute(options.folder, error);
    const std::string listen = IsAddress(options.host) ? options.host : "127.0.0.1";
    std::string temp;
    for (const char *kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        temp += std::string("    ") + kind + "_temp_path \"" + folder + "/tmp\";\n";
    }
    *text = "user root;\nworker_processes 2;\ndaemon off;\npid \"" + folder + "/nginx.pid\";\nerror_log \"" + folder +
            "/error.log\";\nevents {}\nhttp {\n    access_log \"" + folder + "/access.log\";\n" + temp +
            "    server {\n        listen " + listen + ":80;\n        listen " + listen + ":443 ssl;\n        root \"" +
            folder + "/www\";\n        ssl_certificate \"" + folder + "/server.pem\";\n        ssl_certificate_key \"" +
            folder + "/server.key\";\n    }\n}\n";
    return WriteText(options.folder + "/nginx.conf", *text, failure);
}

}  // namespace zvcloud
