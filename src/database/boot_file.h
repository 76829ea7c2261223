// The field `file` of a client's image. The boot file's name stands at its front; an entry with a media
// address of its own keeps that text at its tail, right in front of the cookie, where no reply takes it
// along.
#pragma once

#include "platform/windows_api.h"
#include "request/boot_packet.h"

struct SectionMemo;

inline constexpr std::size_t BootFileSize = sizeof(BootPacket::file);

// The handler's buffer for the media text has 100 bytes.
inline constexpr std::size_t MediaTextSize = 100;

// Stores a name or a text. False, and nothing is changed, if it doesn't fit: the name, its NUL, a zero byte
// and the text share the field, and the text has at most 99 characters.
bool StoreBootFile(BootPacket* packet, const char* name);
bool StoreMediaText(BootPacket* packet, const char* text);

// Copies the text at the tail, and a NUL, to `text`, which has room for MediaTextSize. A cookie that begins
// with a zero byte hides the text: `text` is then left alone.
void CopyMediaText(const BootPacket* packet, char* text);

// What "File Aliases" has for a boot file, or `otherwise`; `alias` has `size` bytes, and a longer one is cut.
void ReadAlias(const char* bootFile, const char* otherwise, char* alias, DWORD size, const char* path);

// Replaces the name by the one that "File Aliases" has for it, if any. False if the alias doesn't fit.
// `memo` may be null.
bool ReplaceByAlias(BootPacket* packet, const char* path, SectionMemo* memo);

// The length of the name in a field that need not have a NUL.
std::size_t BootFileLength(const BootPacket* packet);
