#include "tool_runs.h"

#include <cstdio>
#include <filesystem>

#include "driver/kestrand.h"
#include "platform/platform.h"
#include "support/image_platform.h"

namespace kestrand::bench {

int RunToolOnPack(const PackFacts& facts, bool analysis, const std::string& xmlPath, const std::string& textPath,
                  const std::string& errPath) {
  CImagePlatform platform;
  for (size_t i = 0; i < facts.ImagePaths.size(); ++i)
    platform.AddImage(facts.ImagePaths[i], static_cast<uint32_t>(i));
  FILE* out = std::fopen(textPath.c_str(), "w");
  FILE* err = std::fopen(errPath.c_str(), "a");
  int code = 1;
  if (out && err) {
    InstallPlatform(&platform);
    // A name that begins with "/" would be read as a switch: name the
    // file relative to its own directory.
    const std::filesystem::path xml(xmlPath);
    std::string xmlName = xmlPath;
    std::error_code ec;
    if (analysis && xml.is_absolute()) {
      std::filesystem::current_path(xml.parent_path(), ec);
      xmlName = xml.filename().string();
    }
    std::vector<const char*> argv{"kestrand"};
    if (analysis) argv.insert(argv.end(), {"-a", "-f", xmlName.c_str()});
    code = RunKestrand(static_cast<int>(argv.size()), argv.data(), out, err);
    InstallPlatform(nullptr);
  }
  if (out) std::fclose(out);
  if (err) std::fclose(err);
  return code;
}

std::vector<std::string> LdmtoolCommand(const PackFacts& facts, const std::vector<std::string>& command) {
  std::vector<std::string> argv{"ldmtool"};
  for (const auto& image : facts.ImagePaths) argv.insert(argv.end(), {"-d", image});
  argv.insert(argv.end(), command.begin(), command.end());
  return argv;
}

}  // namespace kestrand::bench
