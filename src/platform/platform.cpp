#include "platform/platform.h"

namespace kestrand {
namespace {
CPlatform* gInstalledPlatform = nullptr;
}

CPlatform& ThePlatform() { return gInstalledPlatform ? *gInstalledPlatform : NativePlatform(); }

void InstallPlatform(CPlatform* platform) { gInstalledPlatform = platform; }

}  // namespace kestrand
