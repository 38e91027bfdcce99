#include "platform/workbook.h"

namespace zyl::platform {

std::string Workbook::Load(const std::filesystem::path& path) { return "Not yet: " + path.string(); }
std::string Workbook::Save(const std::filesystem::path& path) const { return "Not yet: " + path.string(); }
std::string Workbook::SaveCsv(const std::filesystem::path& path, int, bool) const { return "Not yet: " + path.string(); }

}  // namespace zyl::platform
