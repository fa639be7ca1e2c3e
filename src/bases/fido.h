// Areas of *.MSG files: a directory with one file for each message, named by its number. See base_ops.h for
// what the operations promise.
#pragma once

#include <cstdint>
#include <string_view>

#include "bases/look.h"
#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

bool fido_select(const Area& area);
bool fido_read(const char* label);
uint32_t fido_add(const Area& area, const Msg& msg, const LineList& text);
bool fido_update();
bool fido_kill();
void fido_rewind();
void fido_close();
bool fido_look(std::string_view path, Look& look);

/// Renames the messages of an area to 1.msg, 2.msg and so on, in the order of their numbers. A name that
/// can't be had stays as it is. The area must not be the one being scanned. 1.
int renumber_fido(const Area& area);

}  // namespace quelmo
