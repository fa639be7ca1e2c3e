#include "perl/functions.h"

#include <iterator>
#include <string_view>

#include "actions/attach.h"
#include "actions/change_address.h"
#include "actions/create.h"
#include "actions/edit_text.h"
#include "actions/file_services.h"
#include "actions/header.h"
#include "actions/move.h"
#include "actions/nodelist_services.h"
#include "actions/packets.h"
#include "actions/run_config.h"
#include "actions/services.h"
#include "archive/pack.h"
#include "archive/unpack.h"
#include "message/scan.h"
#include "nodelist/routing.h"
#include "outbound/build.h"
#include "select/select.h"

namespace quelmo {
namespace {

// clang-format off
// What is said of a wrong number of arguments; a few functions have wordings of their own.
constexpr char count_only[] = "%s argument count\n";
constexpr char need_1[] = "%s argument count (need 1, exist %d)\n";
constexpr char need_2[] = "%s argument count (need 2, exist %d)\n";
constexpr char need_1_or_more[] = "%s argument count (need 1 or more, exist %d)\n";

constexpr ScriptFunction table[] = {
    {"Scan", "perl_Scan()", 1, 2, "%s argument count(need 1 or 2, exist %d)\n", perl_Scan},
    {"DoBinkOutbound", "perl_DoBinkOutbound()", 1, 1, "%s argument count(need 1, exist %d)\n", perl_DoBinkOutbound},
    {"DoBrakeOutbound", "perl_DoBrakeOutbound", 1, 1, "%s argument count (need 1, exist %d)", perl_DoBrakeOutbound},
    {"DoAmiga4DOutbound", "perl_DoAmiga4DOutbound", 1, 1, "%s argument count (need 1, exist %d)", perl_DoAmiga4DOutbound},
    {"SetRouting", "perl_SetRouting()", 1, 1, need_1, perl_SetRouting},
    {"SetFlavor", "perl_SetFlavor", 1, 1, need_1, perl_SetFlavor},
    {"CreateFile", "perl_Createfile()", 1, 1, need_1, perl_CreateFile},
    {"KillFile", "perl_KillFile", 1, 1, need_1, perl_KillFile},
    {"SelectFrom", "perl_SelectTo()", 1, 1, need_1, perl_SelectFrom},
    {"SelectTo", "perl_SelectTo()", 1, 1, need_1, perl_SelectTo},
    {"Select", "perl_Select()", 1, 1, need_1, perl_Select},
    {"ReadMsg", "perl_readMsg()", 0, 0, count_only, perl_ReadMsg},
    {"Rewind", "perl_Rewind()", 0, 0, count_only, perl_Rewind},
    {"GetText", "perl_GetText()", 0, 0, count_only, perl_GetText},
    {"GetKludges", "perl_GetKludges()", 0, 0, count_only, perl_GetKludges},
    {"GetVias", "perl_GetVias()", 0, 0, count_only, perl_GetVias},
    {"GetHdr", "perl_GetHdr()", 0, 0, count_only, perl_GetHdr},
    {"GetTo", "perl_GetTo()", 0, 0, count_only, perl_GetTo},
    {"GetFrom", "perl_GetFrom()", 0, 0, "\a%s argument count\n", perl_GetFrom},
    {"GetSubject", "perl_GetSubject()", 0, 0, count_only, perl_GetSubject},
    {"GetTime", "perl_GetTime()", 0, 0, "%s argument count", perl_GetTime},
    {"GetRouting", "perl_GetRouting()", 0, 0, count_only, perl_GetRouting},
    {"GetAttribute", "perl_GetAttribute()", 0, 0, count_only, perl_GetAttribute},
    {"SetAttribute", "perl_SetAttribute()", 1, 1, count_only, perl_SetAttribute},
    {"Move", "perl_Move()", 1, any_number, need_1_or_more, perl_Move},
    {"Kill", "perl_Kill", 0, 0, count_only, perl_Kill},
    {"CopyArea", "perl_CopyArea()", 1, any_number, "%s argument count (need 1 or more, exist %d\n", perl_CopyArea},
    {"Bounce", "perl_Bounce()", 0, any_number, count_only, perl_Bounce},
    {"CreateMail", "perl_CreateMail()", 2, any_number, "%s argument count (need 2 or more, exist %d)\n", perl_CreateMail},
    {"ChangeMail", "perl_ChangeMail()", 1, any_number, need_1_or_more, perl_ChangeMail},
    {"ChangeFrom", "perl_ChangeFrom()", 1, 1, need_1, perl_ChangeFrom},
    {"ChangeTo", "perl_ChangeTo", 1, 1, need_1, perl_ChangeTo},
    {"DeleteLine", "perl_DeleteLine()", 1, 1, "%s argument count (need 1, exist %d\n", perl_DeleteLine},
    {"AddLine", "perl_AddLine()", 1, 2, "%s argument count (need 1 or 2, exist %d\n", perl_AddLine},
    {"AddHeader", "perl_AddHeader()", 1, any_number, need_1_or_more, perl_AddHeader},
    {"AddIntl", "perl_AddIntl()", 0, 0, count_only, perl_AddIntl},
    {"SetMessageTime", "perl_SetMessageTime()", 0, 1, count_only, perl_SetMessageTime},
    {"CheckPath", "perl_CheckPath()", 1, 1, need_1, perl_CheckPath},
    {"KillKludge", "perl_KillKludge()", 0, 1, count_only, perl_KillKludge},
    {"SubstText", "perl_SubstText", 1, 2, "%s argument count (need 1 or 2, exist %d)\n", perl_SubstText},
    {"Unpack", "perl_Unpack", 1, 2, "%s argument count(need 1 or 2, exist %d)\n", perl_Unpack},
    {"PackPKT", "perl_PackPkt()", 2, 4, "%s argument count (need 2 ... 4, exist %d)\n", perl_PackPKT},
    {"Log", "perl_Log()", 2, 2, "\a%s argument count (need 2, exist %d)\n", perl_Log},
    {"WriteString", "perl_WriteString()", 1, 2, "%s argument count(need 1 or 2, exist %d)\n", perl_WriteString},
    {"GetUplink", "perl_GetUplink", 1, 1, need_1, perl_GetUplink},
    {"GetCRC", "perl_GetCRC()", 0, 0, count_only, perl_GetCRC},
    {"isBusy", "perl_isBusy()", 2, 2, need_2, perl_isBusy},
    {"IgnoreBsy", "perl_IgnoreBsy()", 1, 1, need_1, perl_IgnoreBsy},
    {"RouteTo", "perl_RouteTo()", 1, 1, count_only, perl_RouteTo},
    {"ActiveNodelist", "perl_ActiveNodelist()", 1, 1, need_1, perl_ActiveNodelist},
    {"ExpandMacro", "perl_ExpandMacro()", 1, 1, need_1, perl_ExpandMacro},
    {"Renumber", "perl_Renumber()", 0, any_number, count_only, perl_Renumber},
    {"rxSearch", "perl_rxSearch()", 2, 2, need_2, perl_rxSearch},
    {"GetEchoName", "perl_GetEchoName()", 0, 0, count_only, perl_GetEchoName},
    {"GetAreaList", "perl_GetAreaList()", 0, 0, count_only, perl_GetAreaList},
    {"NdlReBuild", "perl_NdlReBuild()", 0, 1, count_only, perl_NdlReBuild},
    {"SetFboxPath", "perl_SetFboxPath()", 0, 1, count_only, perl_SetFboxPath},
    {"SetGlobalVar", "SetGlobalVar()", 2, 2, need_2, perl_SetGlobalVar},
    {"UnSetGlobalVar", "UnSetGlobalVar()", 1, 1, need_1, perl_UnSetGlobalVar},
    {"GetGlobalVar", "GetGlobalVar()", 1, 1, need_1, perl_GetGlobalVar},
    {"GetNodelistRecord", "perl_GetNodelistRecord()", 2, 3, count_only, perl_GetNodelistRecord},
    {"ReReadConfig", "perl_ReReadConfig()", 0, 1, count_only, perl_ReReadConfig},
    {"GetNodelistBlock", "perl_GetNedelistBlock()", 0, 1, count_only, perl_GetNodelistBlock},
    {"GetMsg", "perl_GetMsg()", 0, 0, count_only, perl_GetMsg},
    {"GetRawMsg", "perl_GetRawMsg()", 0, 0, count_only, perl_GetRawMsg},
    {"ZapText", "perl_ZapText()", 0, 0, count_only, perl_ZapText},
    {"ReadPkt", "perl_ReadPkt()", 0, 0, count_only, perl_ReadPkt},
    {"CopyPkt", "perl_CopyPkt()", 1, 1, need_1, perl_CopyPkt},
    {"MovePkt", "perl_MovePkt()", 1, 1, need_1, perl_MovePkt},
    {"KillPkt", "perl_KillPkt()", 0, 0, count_only, perl_KillPkt},
    {"GetPktHdr", "perl_GetPktHdr()", 0, 0, count_only, perl_GetPktHdr},
    {"SetPktHdr", "perl_SetPktHdr()", 1, 1, "%s argument count (need 1, exist %d\n", perl_SetPktHdr},
    {"DefKeyWord", "perl_DefKeyWord()", 2, 2, need_2, perl_DefKeyWord},
    {"DefDataBlock", "perl_DefDataBlock()", 3, 3, "%s argument count (need 3, exist %d)\n", perl_DefDataBlock},
    {"InvalideTearOrig", "perl_InvalideTearOrig", 0, 0, count_only, perl_InvalideTearOrig},
    {"RecodeIn", "perl_RecodeIn", 0, 0, count_only, perl_RecodeIn},
    {"RecodeOut", "perl_RecodeOut", 0, 0, count_only, perl_RecodeOut},
};
// clang-format on

constexpr bool rows_are_sound() {
  for (size_t i = 0; i < std::size(table); i++) {
    const ScriptFunction& row = table[i];
    if (row.least < 0 || row.most < row.least) return false;
    if (std::string_view(row.count_message).find("%s argument count") == std::string_view::npos) return false;
    for (size_t j = 0; j < i; j++) {
      if (std::string_view(row.name) == table[j].name) return false;
    }
  }
  return true;
}
static_assert(rows_are_sound());

}  // namespace

std::span<const ScriptFunction> script_functions() {
  return table;
}

}  // namespace quelmo
