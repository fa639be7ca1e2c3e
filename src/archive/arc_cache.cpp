#include "archive/arc_cache.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <vector>

#include "archive/archiver.h"
#include "archive/arcmail_names.h"
#include "bases/flow.h"
#include "core/log.h"
#include "core/text.h"
#include "platform/clock.h"
#include "platform/directory.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

struct ArcEntry {
  FtnAddr address;
  std::string name;
  std::string dir;
};

std::vector<ArcEntry> arc_cache;

bool same_day(std::time_t time) {
  std::tm a = local_time(time);
  std::tm b = local_time();
  return a.tm_year == b.tm_year && a.tm_yday == b.tm_yday;
}

// True if the packet may go into the bundle.
bool is_size_ok(const BundleRequest& request, const std::string& arc) {
  log_line(5, "is_size_ok: check length of `%s'\n", arc.c_str());
  std::optional<FileInfo> info = file_info(arc);
  if (!info) {
    log_line(0, "is_size_ok: archive not found: `%s'\n", arc.c_str());
    return false;
  }
  // An empty bundle has been sent and truncated: its line in the flow file is done with.
  if (info->size == 0 || request.maxlen == 0) return info->size != 0;
  std::optional<FileInfo> pkt = file_info(request.pkt);
  if (!pkt) {
    log_line(0, "is_size_ok: pkt not found: `%s'\n", request.pkt.c_str());
    return false;
  }
  uint64_t newlen = info->size + pkt->size * 10 / static_cast<uint64_t>(std::max(request.ratio, 1));
  log_line(5, "is_size_ok: current arclen=%ld, pktlen=%d, ratio=%ld, est. newlen=%ld maxlen=%ld\n",
           static_cast<long>(info->size), static_cast<int>(pkt->size), static_cast<long>(request.ratio),
           static_cast<long>(newlen), static_cast<long>(request.maxlen));
  return newlen <= request.maxlen;
}

// The last bundle of today in a file box. Empty ones of other days go.
std::string last_of_box(const BundleRequest& request) {
  std::string chosen;
  char highest = ' ';
  for (const FoundFile& found : find_files(request.dir + "*")) {
    if (!is_arcmail_name(found.name)) {
      log_line(4, "get_last_arc_entry: %s is not arcmail\n", found.name.c_str());
    } else if (!same_day(found.mtime)) {
      log_line(4, "get_last_arc_entry: %s is old\n", found.name.c_str());
      if (found.size != 0) continue;
      log_line(4, "removing old empty arcmail: %s\n", found.name.c_str());
      remove_file(request.dir + found.name);
    } else if (static_cast<signed char>(found.name.back()) > highest) {
      highest = found.name.back();
      chosen = found.name;
    }
  }
  return chosen;
}

// The last bundle of today that a flow file of today attaches.
std::string last_of_flow(const BundleRequest& request) {
  std::optional<FileInfo> info = file_info(request.flow);
  std::optional<std::string> bytes;
  if (info) bytes = read_file(request.flow);
  if (!bytes) {
    log_line(4, "get_last_arc_entry: %s not found\n", request.flow.c_str());
    return {};
  }
  if (!same_day(info->mtime)) {
    log_line(4, "get_last_arc_entry: %s is old\n", request.flow.c_str());
    return {};
  }
  std::string chosen;
  for (size_t at = 0; at < bytes->size();) {
    std::string entry(take_flow_line(*bytes, at).file);
    if (entry.empty()) continue;
    std::string_view name = file_part(entry);
    if (!starts_nocase(entry, request.flow_dir)) {
      log_line(4, "get_last_arc_entry: path `%s' not found in entry `%s'\n", request.flow_dir.c_str(),
               entry.c_str());
    } else if (!is_arcmail_name(name) || !is_curdate(name)) {
      log_line(4, "get_last_arc_entry: not arcmail or old `%s'\n", entry.c_str());
    } else {
      log_line(4, "get_last_arc_entry: got entry `%s'\n", entry.c_str());
      chosen = name;
    }
  }
  return chosen;
}

// True if the packet can go into a bundle that stands already.
bool takes_packet(const BundleRequest& request, const std::string& name) {
  std::string path = request.dir + name;
  std::optional<FileInfo> info = file_info(path);
  if (!info || info->size == 0) {
    log_line(4, "get_last_arc_entry: empty or non-existant entry `%s'\n", path.c_str());
    return false;
  }
  if (request.maxlen != 0 && !is_size_ok(request, path)) {
    log_line(4, "get_last_arc_entry: maxsize exceeded\n");
    return false;
  }
  const Packer* packer = detect_arctype(path);
  if (packer == nullptr) {
    log_line(4, "get_last_arc_entry: error detecting archive type for %s\n", path.c_str());
    return false;
  }
  if (equal_nocase(packer->name, request.packer)) return true;
  log_line(4, "get_last_arc_entry: different archive types\n");
  return false;
}

// A bundle of today that stands and takes the packet; empty if there is none.
std::string get_last_arc_entry(const BundleRequest& request) {
  bool box = request.flow.empty();
  const std::string& where = box ? request.dir : request.flow;
  std::string name = box ? last_of_box(request) : last_of_flow(request);
  if (name.empty()) {
    log_line(4, "get_last_arc_entry: no valid entry found in %s\n", where.c_str());
    return {};
  }
  if (!takes_packet(request, name)) return {};
  log_line(4, "get_last_arc_entry: last arcmail entry (w/o path) in %s is %s\n", where.c_str(), name.c_str());
  return name;
}

}  // namespace

Bundle get_arcname(const BundleRequest& request) {
  auto known = std::ranges::find_if(arc_cache, [&](const ArcEntry& entry) {
    return addr_equal(entry.address, request.to) && equal_nocase(entry.dir, request.dir);
  });
  bool replace = known != arc_cache.end();
  if (replace && is_size_ok(request, request.dir + known->name)) {
    log_line(4, "get_arcname: get name from cache `%s'\n", known->name.c_str());
    return {.name = known->name, .attached = true};
  }
  log_line(4, "get_arcname: assign new archive name\n");
  auto remember = [&](const std::string& name) {
    log_line(4, "get_arcname: add new name to cache: `%s'\n", name.c_str());
    arc_cache.push_back({.address = request.to, .name = name, .dir = request.dir});
  };
  if (!replace) {
    if (std::string name = get_last_arc_entry(request); !name.empty()) {
      log_line(4, "get_arcname: assign last found name:  `%s'\n", name.c_str());
      remember(name);
      return {.name = name, .attached = true};
    }
  }
  std::string name = make_new_arcname(request.to, request.dir);
  if (name.empty()) {
    // A bundle beyond its limit is better than a packet that stays for ever.
    return replace ? Bundle{.name = known->name, .attached = true} : Bundle{};
  }
  log_line(4, "get_arcname: made new name`%s'\n", name.c_str());
  if (replace) {
    log_line(4, "get_arcname: replace current cache entry for `%s'\n", addr_to_text(request.to).c_str());
    known->name = name;
  } else {
    remember(name);
  }
  return {.name = name, .attached = false};
}

void free_arc_cache() {
  arc_cache.clear();
}

}  // namespace quelmo
