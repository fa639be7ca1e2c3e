// Areas that are Squish bases: two files, `<path>.sqd` and `<path>.sqi` (squish_frames.h tells what is in
// them, squish_write.h how they change). See base_ops.h for what the operations promise.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"
#include "message/scan_state.h"

namespace quelmo {

bool squish_select(const Area& area);
bool squish_read(const char* label);
uint32_t squish_add(const Area& area, const Msg& msg, const LineList& text);
bool squish_update();
bool squish_kill();
void squish_rewind();
void squish_close();

/// Makes an empty base, mode 0600, where no file of it exists. Stops the run if it can't.
void create_new_sqbase(std::string_view path);

/// Opens both files of a base. True also, with no file open, when the system denies the access, which is how
/// a locked base looks on some systems; else false with the reason logged.
bool open_sqbases(std::string_view path, Fd& sqd, Fd& sqi);

/// Prepares a scan of an area: files open, index read and locked. A base without a message, or one that could
/// not be accessed, has an empty list and no lock. False with sq_errno set and the reason logged.
bool select_squish_area(const Area& area, SqScan& scan);

/// What a `Msg` takes of a message header.
void squish_to_msg(const XMsg& xmsg, Msg& msg);
/// The reverse, which leaves links, id and the high attribute bits as they are.
void msg_to_squish(const Msg& msg, XMsg& xmsg);

/// The kludges at the head of a text, one behind the other without line ends, and the rest as it is. Points
/// stand in the header, so FMPT and TOPT lines go.
void text_to_sqbase(const LineList& lines, std::string& ctrl, std::string& text);
/// The reverse: FMPT and TOPT lines for points that have none, behind INTL.
void sqbase_to_text(std::string_view ctrl, std::string_view text, const XMsg& xmsg, LineList& lines);

/// Files that a pack makes a copy of.
inline constexpr const char* squish_extensions[] = {".sqd", ".sqi"};

}  // namespace quelmo
