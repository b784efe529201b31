// Record frame: u32 payload length, u64 checksum of the payload, payload; all integers little-endian.
// Payload: kind byte, then for Entry/Change: i64 time, u64 actor index, u8 undone, label as a
// length-prefixed string, then the patch: u32 edit count, each edit a kind byte (W, M, S), u32 step count
// and its steps (u8 'k' and a string, or u8 'i' and a u64), the member's key (string), the splice's index
// (u64), u8 flags (1: a before side, 2: an after side) and both sides as strings of compact JSON ("" for a
// side absent). Formats 1 and 2 held the actor before and after instead (two strings of compact JSON),
// read as the patch between them. For Checkpoint: four u64 (saved hash and
// size, replaced hash and size), then (format 2) the replaced file's stamp; for File (format 2): a file's
// stamp. A stamp is three u64: device, inode, status change time in ns. Undo and Redo carry nothing more.
#include "store/change_journal.h"

#include <optional>
#include <variant>

#include "json_text/json_text.h"
#include "store/content_hash.h"
#include "store/package_store.h"

namespace host::store {
namespace {

constexpr std::size_t kFrameBytes = 4 + 8;
constexpr std::uint32_t kMaxPayloadBytes = 1u << 30;  // bytes; anything longer is damage, not a record

void put_u64(std::string& out, std::uint64_t v, int bytes = 8) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

void put_text(std::string& out, std::string_view text) {
  put_u64(out, text.size(), 4);
  out.append(text);
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}
  bool u64(std::uint64_t& v, int bytes = 8) {
    if (bytes_.size() < static_cast<std::size_t>(bytes)) return false;
    v = 0;
    for (int i = 0; i < bytes; ++i) v |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes_[i])) << (8 * i);
    bytes_.remove_prefix(static_cast<std::size_t>(bytes));
    return true;
  }
  bool text(std::string_view& t) {
    std::uint64_t n = 0;
    if (!u64(n, 4) || bytes_.size() < n) return false;
    t = bytes_.substr(0, n);
    bytes_.remove_prefix(n);
    return true;
  }
  bool done() const { return bytes_.empty(); }

 private:
  std::string_view bytes_;
};

void put_stamp(std::string& out, const FileStamp& stamp) {
  put_u64(out, stamp.device);
  put_u64(out, stamp.inode);
  put_u64(out, static_cast<std::uint64_t>(stamp.status_changed_ns));
}

bool read_stamp(Reader& in, FileStamp& stamp) {
  std::uint64_t changed = 0;
  if (!in.u64(stamp.device) || !in.u64(stamp.inode) || !in.u64(changed)) return false;
  stamp.status_changed_ns = static_cast<std::int64_t>(changed);
  return true;
}

bool read_json(Reader& in, mods::json::Value& value) {
  std::string_view text;
  json_text::JsonTextError json_error;
  return in.text(text) && (text.empty() || json_text::parse_json(text, value, json_error));
}

bool read_actors_as_patch(Reader& in, ActorPatch& patch) {
  mods::json::Value before, after;
  std::string_view before_text, after_text;
  json_text::JsonTextError json_error;
  if (!in.text(before_text) || !in.text(after_text) || !json_text::parse_json(before_text, before, json_error) ||
      !json_text::parse_json(after_text, after, json_error))
    return false;
  patch = diff_actor(before, after);
  return true;
}

constexpr std::uint64_t kMaxEdits = 1u << 20;  // per patch; more is damage

bool read_patch(Reader& in, ActorPatch& patch) {
  std::uint64_t count = 0;
  if (!in.u64(count, 4) || count > kMaxEdits) return false;
  patch.resize(count);
  for (PatchEdit& edit : patch) {
    std::uint64_t kind = 0, steps = 0, index = 0, flags = 0;
    if (!in.u64(kind, 1) || !in.u64(steps, 4) || steps > kMaxEdits) return false;
    edit.kind = static_cast<PatchEdit::Kind>(kind);
    if (edit.kind != PatchEdit::Kind::Whole && edit.kind != PatchEdit::Kind::Member &&
        edit.kind != PatchEdit::Kind::Splice)
      return false;
    for (std::uint64_t i = 0; i < steps; ++i) {
      std::uint64_t type = 0, at = 0;
      std::string_view key;
      if (!in.u64(type, 1)) return false;
      if (type == 'k' && in.text(key)) {
        edit.at.emplace_back(std::string(key));
      } else if (type == 'i' && in.u64(at)) {
        edit.at.emplace_back(static_cast<std::size_t>(at));
      } else {
        return false;
      }
    }
    std::string_view key;
    if (!in.text(key) || !in.u64(index) || !in.u64(flags, 1) || !read_json(in, edit.before) ||
        !read_json(in, edit.after))
      return false;
    edit.key = std::string(key);
    edit.index = static_cast<std::size_t>(index);
    edit.had_before = (flags & 1) != 0;
    edit.has_after = (flags & 2) != 0;
    const bool splice = edit.kind == PatchEdit::Kind::Splice;
    if (splice && (!edit.before.is_array() || !edit.after.is_array())) return false;
  }
  return true;
}

bool put_patch(std::string& out, const ActorPatch& patch, std::string& error) {
  put_u64(out, patch.size(), 4);
  std::string before, after;
  for (const PatchEdit& edit : patch) {
    out.push_back(static_cast<char>(edit.kind));
    put_u64(out, edit.at.size(), 4);
    for (const auto& step : edit.at) {
      if (const std::string* key = std::get_if<std::string>(&step)) {
        out.push_back('k');
        put_text(out, *key);
      } else {
        out.push_back('i');
        put_u64(out, std::get<std::size_t>(step));
      }
    }
    put_text(out, edit.key);
    put_u64(out, edit.index);
    put_u64(out, (edit.had_before ? 1 : 0) | (edit.has_after ? 2 : 0), 1);
    before.clear();
    after.clear();
    if ((edit.had_before && !json_text::print_json(edit.before, json_text::JsonLayout::Compact, before, error)) ||
        (edit.has_after && !json_text::print_json(edit.after, json_text::JsonLayout::Compact, after, error)))
      return false;
    put_text(out, before);
    put_text(out, after);
  }
  return true;
}

bool decode_payload(std::string_view payload, int format, JournalRecord& record) {
  if (payload.empty()) return false;
  Reader in(payload.substr(1));
  record.kind = static_cast<JournalRecord::Kind>(payload[0]);
  switch (record.kind) {
    case JournalRecord::Kind::Entry:
    case JournalRecord::Kind::Change: {
      std::uint64_t time = 0, index = 0, undone = 0;
      std::string_view label;
      if (!in.u64(time) || !in.u64(index) || !in.u64(undone, 1) || !in.text(label)) return false;
      if (!(format < 3 ? read_actors_as_patch(in, record.change.patch) : read_patch(in, record.change.patch)) ||
          !in.done())
        return false;
      record.change.time_ms = static_cast<std::int64_t>(time);
      record.change.actor_index = static_cast<std::size_t>(index);
      record.change.label = std::string(label);
      record.undone = undone != 0;
      record.change.stored_bytes = kFrameBytes + payload.size();
      return true;
    }
    case JournalRecord::Kind::Checkpoint:
      return in.u64(record.saved.hash) && in.u64(record.saved.size) && in.u64(record.replaced.hash) &&
             in.u64(record.replaced.size) && (format < 2 || read_stamp(in, record.replaced_file)) && in.done();
    case JournalRecord::Kind::File: return format >= 2 && read_stamp(in, record.saved_file) && in.done();
    case JournalRecord::Kind::Undo:
    case JournalRecord::Kind::Redo: return in.done();
  }
  return false;
}

std::uint64_t frame_checksum(std::string_view payload) {
  return content_hash(payload) ^ (static_cast<std::uint64_t>(payload.size()) * 0x9E3779B97F4A7C15ULL);
}

}  // namespace

bool encode_record(JournalRecord& record, std::string& bytes, std::string& error) {
  std::string payload(1, static_cast<char>(record.kind));
  switch (record.kind) {
    case JournalRecord::Kind::Entry:
    case JournalRecord::Kind::Change: {
      put_u64(payload, static_cast<std::uint64_t>(record.change.time_ms));
      put_u64(payload, record.change.actor_index);
      put_u64(payload, record.undone ? 1 : 0, 1);
      put_text(payload, record.change.label);
      if (!put_patch(payload, record.change.patch, error)) return false;
      break;
    }
    case JournalRecord::Kind::Checkpoint:
      put_u64(payload, record.saved.hash);
      put_u64(payload, record.saved.size);
      put_u64(payload, record.replaced.hash);
      put_u64(payload, record.replaced.size);
      put_stamp(payload, record.replaced_file);
      break;
    case JournalRecord::Kind::File: put_stamp(payload, record.saved_file); break;
    case JournalRecord::Kind::Undo:
    case JournalRecord::Kind::Redo: break;
  }
  bytes.clear();
  put_u64(bytes, payload.size(), 4);
  put_u64(bytes, frame_checksum(payload));
  bytes.append(payload);
  if (record.kind == JournalRecord::Kind::Entry || record.kind == JournalRecord::Kind::Change)
    record.change.stored_bytes = bytes.size();
  return true;
}

bool decode_journal(std::string_view bytes, JournalContents& contents) {
  contents = JournalContents{};
  if (bytes.substr(0, kJournalHeaderFormat1.size()) == kJournalHeaderFormat1) {
    contents.format = 1;
  } else if (bytes.substr(0, kJournalHeaderFormat2.size()) == kJournalHeaderFormat2) {
    contents.format = 2;
  } else if (bytes.substr(0, kJournalHeader.size()) != kJournalHeader) {
    return false;
  }
  std::size_t at = kJournalHeader.size();
  contents.valid_bytes = at;
  while (bytes.size() - at >= kFrameBytes) {
    Reader frame(bytes.substr(at, kFrameBytes));
    std::uint64_t length = 0, checksum = 0;
    frame.u64(length, 4);
    frame.u64(checksum);
    if (length > kMaxPayloadBytes || bytes.size() - at - kFrameBytes < length) break;
    std::string_view payload = bytes.substr(at + kFrameBytes, length);
    JournalRecord record;
    if (frame_checksum(payload) != checksum || !decode_payload(payload, contents.format, record)) break;
    contents.records.push_back(std::move(record));
    at += kFrameBytes + length;
    contents.valid_bytes = at;
  }
  return true;
}

}  // namespace host::store

namespace host::store {

namespace {

// The last checkpoint before `end` that saved `version`, or -1.
long checkpoint_saving(const std::vector<JournalRecord>& records, long end, const FileVersion& version) {
  for (long i = end - 1; i >= 0; --i) {
    const JournalRecord& r = records[static_cast<std::size_t>(i)];
    if (r.kind == JournalRecord::Kind::Checkpoint && r.saved == version) return i;
  }
  return -1;
}

}  // namespace

// Package renames are not flushed one by one, so a power cut may undo several: the file is then the
// one some earlier checkpoint renamed in. Each checkpoint names the version and the file it replaced, and
// following those links back from the last one passes every file the package can be after a power cut;
// versions whose rename failed are skipped, as no link names them. A file that git or anyone else wrote
// has another inode or change time than the one its content came from, so nothing replays onto it.
long replay_start(const JournalContents& contents, const FileVersion& file, const FileStamp& stamp) {
  const std::vector<JournalRecord>& records = contents.records;
  long at = -1;
  for (long i = static_cast<long>(records.size()) - 1; i >= 0 && at < 0; --i)
    if (records[static_cast<std::size_t>(i)].kind == JournalRecord::Kind::Checkpoint) at = i;
  if (at < 0) return -1;
  const bool nothing_to_replay = !changes_after_last_checkpoint(records);
  if (records[static_cast<std::size_t>(at)].saved == file && (nothing_to_replay || contents.format < 2)) return at;
  if (contents.format < 2) return -1;
  std::optional<FileStamp> expected;  // the file that holds the version checkpoint `at` saved, when known
  for (std::size_t i = static_cast<std::size_t>(at) + 1; i < records.size(); ++i)
    if (records[i].kind == JournalRecord::Kind::File) expected = records[i].saved_file;
  while (at >= 0) {
    const JournalRecord& checkpoint = records[static_cast<std::size_t>(at)];
    if (checkpoint.saved == file && expected && *expected == stamp) return at;
    expected = checkpoint.replaced_file.known() ? std::optional(checkpoint.replaced_file) : std::nullopt;
    at = checkpoint_saving(records, at, checkpoint.replaced);
  }
  return -1;
}

bool changes_after_last_checkpoint(const std::vector<JournalRecord>& records) {
  for (auto r = records.rbegin(); r != records.rend(); ++r) {
    if (r->kind == JournalRecord::Kind::Checkpoint) return false;
    if (r->kind != JournalRecord::Kind::File) return true;
  }
  return false;
}

bool encode_history(const ChangeHistory& history, const FileVersion& version, const FileStamp& stamp,
                    std::string& bytes, std::string& error) {
  bytes.assign(kJournalHeader);
  std::string record;
  for (std::size_t i = 0; i < history.changes().size(); ++i) {
    JournalRecord entry;
    entry.kind = JournalRecord::Kind::Entry;
    entry.change = history.changes()[i];
    entry.undone = i >= history.applied();
    if (!encode_record(entry, record, error)) return false;
    bytes += record;
  }
  JournalRecord checkpoint;
  checkpoint.saved = checkpoint.replaced = version;
  checkpoint.replaced_file = stamp;
  if (!encode_record(checkpoint, record, error)) return false;
  bytes += record;
  JournalRecord file;
  file.kind = JournalRecord::Kind::File;
  file.saved_file = stamp;
  if (!encode_record(file, record, error)) return false;
  bytes += record;
  return true;
}

void JournalFile::adopt(std::uint64_t valid, std::uint64_t file_size) {
  state_ = State::Open;
  file_.reset();
  bytes_ = valid;
  torn_ = valid < file_size;
}

bool JournalFile::append(std::string_view records, std::string& reason) {
  if (state_ != State::Open) {
    reason = state_ == State::Broken ? "the journal could not be repaired" : "the journal is missing";
    return false;
  }
  if (!file_) {
    if (int code = store_.files().open_append(path_, file_)) {
      reason = error_text(code);
      return false;
    }
  }
  if (torn_) {
    if (int code = file_->truncate(bytes_)) {
      reason = error_text(code);
      return false;
    }
    torn_ = false;
  }
  if (int code = file_->append(records)) {
    reason = error_text(code);
    // Some of the records may have reached the disk: cut them off, or no later record could be trusted.
    if (file_->truncate(bytes_) != 0) break_off();
    return false;
  }
  bytes_ += records.size();
  return true;
}

// A new journal holds no record that rebuilds a package version from the one before it, so every
// package file rename still unflushed must be durable first: otherwise a power cut could bring back an old
// file that no checkpoint of the new journal names, and the changes it lacks would be lost.
bool JournalFile::replace(std::string_view contents, std::string& reason) {
  StagedFile staged;
  if (!store_.flush_renames(reason) || !store_.ensure_journal_folder(reason) ||
      !store_.stage(path_, contents, 0644, staged, reason) || !store_.commit(staged, reason)) {
    return false;
  }
  file_.reset();
  state_ = State::Open;
  bytes_ = contents.size();
  torn_ = false;
  return true;
}

void JournalFile::break_off() {
  state_ = State::Broken;
  file_.reset();
}

}  // namespace host::store
