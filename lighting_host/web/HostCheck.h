#pragma once

#include <map>
#include <string>
#include <vector>

namespace lighting_host
{
// Whether a request may speak to this program at all: a page of somebody else's, or a name that
// somebody points at this machine (DNS rebinding), may not.

// `host` is the request's Host field. Let in are localhost, addresses, and `names`; a port may
// follow.
bool IsHostAllowed(const std::string& host, const std::vector<std::string>& names);

// `origin` is the request's Origin field, empty when there is none, as from a program that is no
// browser. Let in is the origin of pages that came from `host` itself.
bool IsOriginAllowed(const std::string& origin, const std::string& host);

// Whether two secrets are the same, in a time that says nothing of where they differ.
bool IsSameSecret(const std::string& given, const std::string& wanted);

// The fields of a query ("a=1&b=%20"), decoded; of a name given twice the last one counts.
std::map<std::string, std::string> ParseQuery(const std::string& query);

// A path or value with its %-escapes decoded; a broken escape stays as it is.
std::string DecodePercent(const std::string& text, bool plusIsBlank);

// Whether a request shows the token, in its field Authorization or Cookie; true when none is
// wanted.
bool ShowsToken(const std::string& authorization, const std::string& cookies,
                const std::string& wanted);

// The value of a cookie in a Cookie field, empty for none.
std::string CookieOf(const std::string& cookies, const std::string& name);
} // namespace lighting_host
