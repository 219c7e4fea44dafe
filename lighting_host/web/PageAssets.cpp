#include "lighting_host/web/PageAssets.h"

#include "lighting_host/web/PageBytes.h"

#include <fstream>
#include <sstream>

namespace lighting_host
{
namespace
{
struct File
{
    const char* path;
    const char* name;
    const char* contentType;
};
constexpr File FILES[] = {
    {"/", "index.html", "text/html; charset=utf-8"},
    {"/token", "token.html", "text/html; charset=utf-8"},
    {"/app.js", "app.js", "text/javascript; charset=utf-8"},
    {"/licences.txt", "licences.txt", "text/plain; charset=utf-8"},
    {"/style.css", "style.css", "text/css; charset=utf-8"},
    {"/icon.svg", "icon.svg", "image/svg+xml"},
    {"/house_file.txt", "house_file.txt", "text/plain; charset=utf-8"},
};
} // namespace

bool FindPageAsset(const std::string& path, const std::string& folder, PageAsset& asset)
{
    for (const File& file : FILES)
    {
        if (path != file.path)
            continue;
        asset.contentType = file.contentType;
        if (folder.empty())
            return FindPageBytes(file.name, asset.body);
        std::ifstream in(folder + "/" + file.name, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        asset.body = text.str();
        return static_cast<bool>(in);
    }
    return false;
}
} // namespace lighting_host
