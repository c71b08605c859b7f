// SPDX-License-Identifier: MIT
// Any bytes as a configuration file: text to map to text to map. Aborts on what must not happen.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include <json/json.h>
#include <tamsel/extras/memory_stream.h>
#include <tamsel/json_util.h>

using namespace Tamsel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto stream = std::make_shared<Extras::CMemoryStream>(text);
    TConfigMap map;
    try {
        map = JsonUtil::ReadConfig(stream);
    } catch (const CInvalidConfig&) {
        return 0;
    } catch (const Json::Exception&) {
        return 0;
    }
    JsonUtil::WriteConfig(stream, map);
    const TConfigMap readBack = JsonUtil::ReadConfig(stream);
    // Text that is not UTF-8 is read back as other text, and two keys can become one. The escape of
    // half a surrogate pair makes such text, too.
    const bool isLossless =
        std::all_of(text.begin(), text.end(), [](unsigned char byte) { return byte < 0x80; }) &&
        text.find("\\uD") == std::string::npos && text.find("\\ud") == std::string::npos;
    if (isLossless && readBack != map) std::abort();
    JsonUtil::WriteConfig(stream, readBack);
    if (JsonUtil::ReadConfig(stream) != readBack) std::abort();
    return 0;
}
