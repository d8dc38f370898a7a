// Fuzzes the configuration document path from the file a person hands to
// rcsconfigctl (`set-config FILE [--gzip]`) to the modem: the file is read
// and, when asked, compressed (ConfigDocument), then uploaded by the settings
// client itself (ImsMcxSettings::sendRcsConfig: its worker cuts the document
// into 2000-byte segments) to the embedded modem emulator, which reassembles
// and inflates it and answers with its configuration status. Plain files,
// gzip files and corrupt gzip (a file whose magic bytes say gzip, so it is
// sent as it is) all take this path.
//
// This thread is the settings client's loop thread: it runs loop passes until
// the upload is answered, either by the worker (a refused or unsendable
// upload) or by the modem's status indication.
//
// Input: byte 0 bit 0 is `--gzip`; the rest is the file's content.
#include <android/log.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ConfigDocument.h"
#include "FuzzLoop.h"
#include "FuzzSupport.h"
#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "rcsconfig/ImsMcxSettings.h"

namespace {

using fuzzsupport::fail;

struct Harness {
    ImsCom com;
    fuzzsupport::FuzzLoop loop{com};
    ImsMcxSettings* settings = nullptr;
    // The upload callbacks' answers. A callback runs on a worker or on this
    // thread; once the 8-bit token has wrapped, the settings client answers a
    // later upload through the callback an earlier one filed, so every
    // callback writes here rather than into one upload's own state.
    std::atomic<unsigned long> answered{0};
    std::atomic<bool> lastOk{false};
    unsigned long uploads = 0;  // this thread only
    std::string path;
};

Harness* gHarness = nullptr;

// Uploads through the settings client and runs the loop until the upload is
// answered; the answer.
bool upload(Harness& h, const std::vector<uint8_t>& doc, bool gzipped) {
    if (h.answered != h.uploads) fail("an upload was answered twice");
    ++h.uploads;
    Harness* self = &h;
    auto answer = [self](bool ok) {
        self->lastOk = ok;
        ++self->answered;
        self->com.wake();  // a worker's answer ends this thread's wait
    };
    if (!h.settings->sendRcsConfig(answer, 0, doc, gzipped)) fail("the upload was not taken");
    if (!h.loop.runUntil([&h] { return h.answered >= h.uploads; })) fail("the upload was not answered");
    return h.lastOk;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(fuzzsupport::discardLog);
    mcxemu::useEmbeddedModem();
    auto* h = new Harness();
    h->path = "/tmp/config_document_fuzz." + std::to_string(getpid());
    h->settings = new ImsMcxSettings(h->com, h->loop.timer);
    h->settings->registerServiceStatusListener([](ServiceStatus) {});
    if (!h->settings->subscribeToSub(0)) fail("no IMS Settings connection for subscription 0");
    gHarness = h;
    atexit([] { unlink(gHarness->path.c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Harness& h = *gHarness;
    const bool gzipOption = size > 0 && (data[0] & 1) != 0;
    FILE* file = fopen(h.path.c_str(), "wb");
    if (file == nullptr) fail("cannot write the scratch file");
    if (size > 1 && fwrite(data + 1, 1, size - 1, file) != size - 1) fail("short write");
    fclose(file);

    rcsctl::ConfigDocument doc;
    std::string error;
    if (!rcsctl::ConfigDocument::load(h.path, gzipOption, &doc, &error)) {
        if (error.empty()) fail("a refused document without a reason");
        return 0;
    }
    const std::vector<uint8_t> content(data + 1, data + size);
    if (doc.fileSize != content.size()) fail("file size");
    if (!doc.compressed && doc.bytes != content) fail("a plain document was changed");

    const bool ok = upload(h, doc.bytes, doc.compressed);
    // A length that the announced 8-bit segment count cannot describe never
    // completes on the modem, and the client answers FAIL itself; the tool
    // warns of or refuses exactly those lengths.
    const bool countFits = !doc.bytes.empty() && rcsctl::unsendableReason(doc.bytes.size()).empty() &&
                           !rcsctl::answeredFailFirst(doc.bytes.size());
    if (!countFits && ok) fail("an upload the modem cannot complete was answered OK");

    // What the tool compressed itself, and every plain document, must arrive
    // as the file was.
    if (countFits && (doc.compressedHere || !doc.compressed)) {
        if (!ok) fail("a well-formed document was refused");
        std::vector<mcxemu::ReceivedConfig> kept = mcxemu::embeddedModem().receivedConfigs(0);
        if (kept.empty() || kept.back().document != content) fail("the modem kept other bytes");
    }
    return 0;
}
