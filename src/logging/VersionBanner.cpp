#include "logging/VersionBanner.h"

namespace mova {

VersionTexts postVersionBanner(Platform& platform, MyDebugMsg& debug) {
    VersionTexts texts;
    texts.version = "<MovaCmdSvr Ver 1.8.6>";
    texts.modulePath = platform.host.modulePath();
    debug.post(texts.version);
    debug.post(texts.modulePath);
    if (const auto time = platform.host.fileTime(texts.modulePath)) texts.build = platform.clock.longDateText(*time);
    debug.post(texts.build);
    return texts;
}

}  // namespace mova
