// A print that reuses the last one: the kept text is copied in the spans between changed actors, and
// each changed actor is printed where it stands (two levels deep), so the result is byte for byte what
// printing the whole document gives. The ranges of the actors after a changed one move by the change
// in its length.
#include "store/package_text.h"

#include <algorithm>
#include <utility>

namespace host::store {
namespace {

// Room beyond the last size for a print that grew a little, so it is not copied while it grows.
constexpr std::size_t kGrowthRoomBytes = 64 * 1024;  // bytes

}  // namespace

void PackageText::adopt(std::string text, std::vector<json_text::TextRange> actors) {
  text_ = std::move(text);
  actors_ = std::move(actors);
  changed_.clear();
  valid_ = true;
}

// Into the spare buffer: until the new print is complete, the kept one stays whole for stand-ins to read.
bool PackageText::print_whole(const mods::json::Value& document, std::uint64_t size_hint, std::string& error,
                              const json_text::ElementStandIn& stand_in) {
  std::string next = std::move(spare_);
  next.reserve(static_cast<std::size_t>(size_hint) + kGrowthRoomBytes);
  std::vector<json_text::TextRange> ranges;
  if (!json_text::print_json_indexed(document, "actors", next, ranges, error, stand_in)) {
    spare_ = std::move(next);
    return false;
  }
  text_.swap(next);
  spare_ = std::move(next);
  actors_ = std::move(ranges);
  changed_.clear();
  valid_ = true;
  return true;
}

std::string_view PackageText::actor_text(std::size_t index) const {
  if (!valid_ || index >= actors_.size()) return {};
  return std::string_view(text_).substr(actors_[index].begin, actors_[index].end - actors_[index].begin);
}

bool PackageText::reuses_print_for(const mods::json::Value& document) const {
  const mods::json::Value& actors = document.get("actors");
  const bool same_actors =
      valid_ && document.is_object() && actors.is_array() && !actors_.empty() && actors.items.size() == actors_.size();
  const auto beyond = [this](std::size_t index) { return index >= actors_.size(); };
  return same_actors && std::none_of(changed_.begin(), changed_.end(), beyond);
}

bool PackageText::print(const mods::json::Value& document, std::uint64_t size_hint, std::string& error,
                        const json_text::ElementStandIn& stand_in) {
  if (!reuses_print_for(document)) return print_whole(document, size_hint, error, stand_in);
  const mods::json::Value& actors = document.get("actors");
  std::sort(changed_.begin(), changed_.end());
  changed_.erase(std::unique(changed_.begin(), changed_.end()), changed_.end());

  std::string next = std::move(spare_);  // memory the last print left: no fresh pages to fault in
  next.clear();
  next.reserve(text_.size() + kGrowthRoomBytes);
  std::vector<json_text::TextRange> ranges(actors_.size());
  std::size_t copied = 0;      // text_ up to here is in `next`
  std::size_t next_actor = 0;  // ranges before it are set
  std::ptrdiff_t shift = 0;    // how far the text after the last changed actor moved
  auto moved = [&shift](const json_text::TextRange& r) {
    return json_text::TextRange{static_cast<std::size_t>(static_cast<std::ptrdiff_t>(r.begin) + shift),
                                static_cast<std::size_t>(static_cast<std::ptrdiff_t>(r.end) + shift)};
  };
  for (std::size_t index : changed_) {
    for (; next_actor < index; ++next_actor) ranges[next_actor] = moved(actors_[next_actor]);
    const json_text::TextRange& old = actors_[index];
    next.append(text_, copied, old.begin - copied);
    const std::size_t begin = next.size();
    if (!json_text::print_json_nested(actors.items[index], 2, next)) {
      spare_ = std::move(next);
      return print_whole(document, size_hint, error, stand_in);
    }
    ranges[index] = {begin, next.size()};
    copied = old.end;
    shift = static_cast<std::ptrdiff_t>(next.size()) - static_cast<std::ptrdiff_t>(copied);
    next_actor = index + 1;
  }
  for (; next_actor < actors_.size(); ++next_actor) ranges[next_actor] = moved(actors_[next_actor]);
  next.append(text_, copied, std::string::npos);
  text_.swap(next);
  spare_ = std::move(next);
  actors_.swap(ranges);
  changed_.clear();
  return true;
}

}  // namespace host::store
