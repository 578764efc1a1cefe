// The text check at the entry points: a request whose text is not valid UTF-8, or holds a NUL
// character, is refused before any handler sees it, so that nothing a caller sends can make a
// stored name that later replies could not carry as JSON.
#pragma once

#include "EntryService.h"

namespace KOVA {
namespace Daemon {

// Checks every text a request carries: the names and values of its query string and of its
// multipart parts, and its body: the decoded names and values of a form, or the text of a JSON
// body together with what its escapes stand for (\u0000 is a NUL; a lone surrogate escape is
// no character). Answers 0 or WEBAPI_ERR_BAD_TEXT.
int CheckRequestText(const EntryInput& in);

// CheckRequestText, and the call's parameter object as read: a form field's value that parses
// as JSON can hold escapes (\u0000) that its text as sent does not show. Answers 0 or
// WEBAPI_ERR_BAD_TEXT.
int CheckCallText(const EntryInput& in, const EntryCall& call);

// True when text, a JSON text that parses, holds no \u escape that stands for NUL or for half
// of a surrogate pair.
bool JsonEscapesAreClean(const std::string& text);

} // namespace Daemon
} // namespace KOVA
