#pragma once

#include <string>

namespace lighting_host
{
// One file of the page.
struct PageAsset
{
    std::string contentType;
    std::string body;
};

// The file at that path ("/", "/app.js"), from `folder` or, when that is empty, as built in. False
// when there is none; paths lead nowhere else than to the page's own files.
bool FindPageAsset(const std::string& path, const std::string& folder, PageAsset& asset);
} // namespace lighting_host
