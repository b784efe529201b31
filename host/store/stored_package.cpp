// The change service of one package. Invariants between calls: the journal (when Open) replays from the
// checkpoint naming `version_` to exactly the document and history in memory; `version_`/`identity_`
// describe NAME.json as this editor last read or wrote it.
#include "host/store/stored_package.h"

#include <cassert>
#include <cerrno>

#include "json_text/json_text.h"
#include "host/store/content_hash.h"

namespace host {
namespace {

constexpr unsigned kAnyoneMayWrite = 0222;  // permission bits: write for owner, group or others

std::int64_t now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// The last checkpoint decides which file versions the journal fits: the one it saved, or the one it
// replaced when a crash came between the checkpoint and the rename. Answers the index of the checkpoint
// from which to replay, or -1 when the file is neither (it was changed by others since).
long replay_start(const std::vector<JournalRecord>& records, const FileVersion& file) {
  long last = -1;
  for (long i = static_cast<long>(records.size()) - 1; i >= 0 && last < 0; --i)
    if (records[static_cast<std::size_t>(i)].kind == JournalRecord::Kind::Checkpoint) last = i;
  if (last < 0) return -1;
  const JournalRecord& checkpoint = records[static_cast<std::size_t>(last)];
  if (checkpoint.saved == file) return last;
  if (!(checkpoint.replaced == file)) return -1;
  for (long i = last - 1; i >= 0; --i) {
    const JournalRecord& r = records[static_cast<std::size_t>(i)];
    if (r.kind == JournalRecord::Kind::Checkpoint && r.saved == file) return i;
  }
  return -1;
}

[[maybe_unused]] bool actor_is(const mods::json::Value& document, std::size_t index, const mods::json::Value& expected) {
  const mods::json::Value& actors = document.get("actors");
  return actors.is_array() && index < actors.items.size() && actors.items[index] == expected;
}

}  // namespace

std::int64_t StoredPackage::wall_clock_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

StoredPackage::StoredPackage(PackageStore& store, std::string name) : store_(store) {
  package_.name = std::move(name);
}

std::unique_ptr<StoredPackage> StoredPackage::open(PackageStore& store, const std::string& name,
                                                   std::string& error) {
  std::string bytes;
  FileIdentity identity;
  const std::int64_t read_at = wall_clock_ns();
  if (!store.read_package(name, bytes, identity, error)) return nullptr;
  std::unique_ptr<StoredPackage> stored(new StoredPackage(store, name));
  JsonTextError json_error;
  if (!parse_json(bytes, stored->package_.document, json_error)) {
    error = "package \"" + name + "\" is not valid JSON: " + json_error.message();
    return nullptr;
  }
  if (!stored->package_.document.is_object()) {
    error = "package \"" + name + "\" is not a mod package: its document is not a JSON object";
    return nullptr;
  }
  stored->identity_ = identity;
  stored->known_at_ns_ = read_at;
  stored->version_ = FileVersion{content_hash(bytes), bytes.size()};
  if (!stored->read_journal(bytes, error)) return nullptr;
  return stored;
}

bool StoredPackage::read_journal(const std::string& file_bytes, std::string& error) {
  std::string bytes;
  FileIdentity identity;
  int code = store_.files().read_file(store_.journal_path(package_.name), bytes, identity);
  if (code == ENOENT) return true;  // never edited here: Missing
  if (code != 0) {
    error = "package \"" + package_.name + "\" cannot be read: " + error_text(code);
    return false;
  }
  JournalContents contents;
  long start = decode_journal(bytes, contents) ? replay_start(contents.records, version_) : -1;
  // A journal that does not fit the file describes edits of a version others have replaced: its history
  // would claim changes the file does not hold, so it is set aside (replaced with the first change).
  if (start < 0) return true;
  if (!replay(contents, start)) {
    JsonTextError ignored;
    parse_json(file_bytes, package_.document, ignored);  // parsed once already, so it parses again
    history_.clear();
    return true;
  }
  journal_state_ = JournalState::Open;
  journal_bytes_ = contents.valid_bytes;
  journal_torn_ = contents.valid_bytes < bytes.size();
  if (oldest_unfolded_ && !fold(error)) return false;
  return true;
}

bool StoredPackage::replay(const JournalContents& contents, long start) {
  ChangeHistory history;
  mods::json::Value& document = package_.document;
  bool unfolded = false;
  for (std::size_t i = 0; i < contents.records.size(); ++i) {
    const JournalRecord& r = contents.records[i];
    bool apply = static_cast<long>(i) > start;
    switch (r.kind) {
      case JournalRecord::Kind::Entry:
        if (apply || !history.restore(r.change, r.undone)) return false;
        break;
      case JournalRecord::Kind::Change:
        if (apply && !swap_actor(document, r.change.actor_index, r.change.before, r.change.after)) return false;
        history.record(r.change);
        break;
      case JournalRecord::Kind::Undo: {
        if (!history.can_undo()) return false;
        const ChangeRecord& c = history.next_undo();
        if (apply && !swap_actor(document, c.actor_index, c.after, c.before)) return false;
        history.undo();
        break;
      }
      case JournalRecord::Kind::Redo: {
        if (!history.can_redo()) return false;
        const ChangeRecord& c = history.next_redo();
        if (apply && !swap_actor(document, c.actor_index, c.before, c.after)) return false;
        history.redo();
        break;
      }
      case JournalRecord::Kind::Checkpoint:
        break;
    }
    unfolded = unfolded || (apply && r.kind != JournalRecord::Kind::Checkpoint);
  }
  history_ = std::move(history);
  if (unfolded) oldest_unfolded_ = Clock::now();
  return true;
}

std::string StoredPackage::saving_failed(const std::string& reason) const {
  return "package \"" + package_.name + "\" could not be saved: " + reason;
}

// A stat that matches is trusted only when the file's time lies clearly before the moment its content was
// last known: a write within the timestamp granularity of that time could keep size, time and inode.
bool StoredPackage::unchanged_on_disk(std::string& error) {
  const std::string path = store_.package_path(package_.name);
  FileIdentity now;
  if (store_.files().identify(path, now) == 0 && now == identity_ &&
      identity_.modified_ns + kTimestampGranularityNs < known_at_ns_) {
    return true;
  }
  const std::int64_t reading_at = wall_clock_ns();
  std::string bytes;
  if (store_.files().read_file(path, bytes, now) == 0 && FileVersion{content_hash(bytes), bytes.size()} == version_) {
    identity_ = now;  // the same content, perhaps touched or rewritten alike: still ours
    known_at_ns_ = reading_at;
    return true;
  }
  error = "package \"" + package_.name + "\" was changed outside the editor: reload it before editing";
  return false;
}

bool StoredPackage::in_conflict() {
  std::string ignored;
  return has_unfolded() && !unchanged_on_disk(ignored);
}

bool StoredPackage::ready_to_record(std::string& error) {
  if (!unchanged_on_disk(error)) return false;
  if ((identity_.permissions & kAnyoneMayWrite) == 0) {  // marked read-only: refused even for root
    error = "package \"" + package_.name + "\" is read-only";
    return false;
  }
  // A journal that may hold a record of a refused change must be rewritten before anything follows it.
  return journal_state_ != JournalState::Broken || fold(error);
}

void StoredPackage::mark_unfolded() {
  if (!oldest_unfolded_) oldest_unfolded_ = Clock::now();
}

bool StoredPackage::append(const std::string& bytes, std::string& error) {
  if (journal_state_ == JournalState::Missing) {
    assert(!oldest_unfolded_);  // a journal is only missing while the document equals the file
    return write_fresh_journal(bytes, error);
  }
  if (journal_state_ == JournalState::Broken) {
    error = saving_failed("the journal could not be repaired");
    return false;
  }
  if (!journal_) {
    if (int code = store_.files().open_append(store_.journal_path(package_.name), journal_)) {
      error = saving_failed(error_text(code));
      return false;
    }
  }
  if (journal_torn_) {
    if (int code = journal_->truncate(journal_bytes_)) {
      error = saving_failed(error_text(code));
      return false;
    }
    journal_torn_ = false;
  }
  if (int code = journal_->append(bytes)) {
    error = saving_failed(error_text(code));
    // Some of the record may have reached the disk: cut it off, or no later record could be trusted.
    if (journal_->truncate(journal_bytes_) != 0) {
      journal_state_ = JournalState::Broken;
      journal_.reset();
    }
    return false;
  }
  journal_bytes_ += bytes.size();
  return true;
}

bool StoredPackage::write_fresh_journal(const std::string& extra, std::string& error) {
  std::string bytes(kJournalHeader);
  std::string record;
  for (std::size_t i = 0; i < history_.changes().size(); ++i) {
    JournalRecord entry;
    entry.kind = JournalRecord::Kind::Entry;
    entry.change = history_.changes()[i];
    entry.undone = i >= history_.applied();
    if (!encode_record(entry, record, error)) {
      error = saving_failed(error);
      return false;
    }
    bytes += record;
  }
  JournalRecord checkpoint;
  checkpoint.saved = checkpoint.replaced = version_;
  std::string reason;
  encode_record(checkpoint, record, reason);
  bytes += record;
  bytes += extra;
  StagedFile staged;
  if (!store_.ensure_journal_folder(reason) ||
      !store_.stage(store_.journal_path(package_.name), bytes, 0644, staged, reason) ||
      !store_.commit(staged, reason)) {
    error = saving_failed(reason);
    return false;
  }
  journal_.reset();
  journal_state_ = JournalState::Open;
  journal_bytes_ = bytes.size();
  journal_torn_ = false;
  return true;
}

bool StoredPackage::journal_wants_compacting() const {
  return journal_bytes_ > kCompactAboveBytes && journal_bytes_ > 2 * history_.stored_bytes();
}

bool StoredPackage::fold_due(Clock::time_point now) const {
  if (journal_state_ == JournalState::Broken) return true;
  return oldest_unfolded_ && now - *oldest_unfolded_ >= kFoldAfter;
}

bool StoredPackage::fold(std::string& error) {
  if (!has_unfolded()) return true;
  if (!unchanged_on_disk(error)) return false;
  std::string text, reason;
  if (!print_json(package_.document, JsonLayout::Indented, text, reason)) {
    error = saving_failed(reason);
    return false;
  }
  std::string path;
  FileVersion saved{content_hash(text), text.size()};
  StagedFile staged;
  if (!store_.save_path(package_.name, path, reason) || !store_.stage(path, text, identity_.permissions, staged, reason)) {
    error = saving_failed(reason);
    return false;
  }
  bool journal_fits = journal_state_ == JournalState::Open;
  if (journal_fits) {
    // Named before the rename, so that a crash at any point leaves the journal fitting the file.
    JournalRecord checkpoint;
    checkpoint.saved = saved;
    checkpoint.replaced = version_;
    std::string record;
    encode_record(checkpoint, record, reason);
    if (!append(record, error)) return false;
  }
  const std::int64_t written_at = wall_clock_ns();  // the content is ours from before the rename on
  bool committed = store_.commit(staged, reason);
  if (!staged.staged()) {  // renamed, even if the folder flush then failed: the file is ours
    FileIdentity written;
    if (store_.files().identify(path, written) == 0) identity_ = written;
    known_at_ns_ = written_at;
    version_ = saved;
  }
  if (!committed) {
    error = saving_failed(reason);
    return false;
  }
  oldest_unfolded_.reset();
  unfolded_labels_.clear();
  // Without a fitting journal the history is written afresh; a failure leaves the file saved and the
  // journal Broken, to be tried again with the next fold.
  if (!journal_fits || journal_wants_compacting()) {
    std::string ignored;
    if (!write_fresh_journal("", ignored) && !journal_fits) journal_state_ = JournalState::Broken;
  }
  return true;
}

long StoredPackage::find_actor(const mods::json::Value& actors, const std::string& id) {
  if (!ids_indexed_ || indexed_count_ != actors.items.size()) {
    first_actor_.clear();
    for (std::size_t i = 0; i < actors.items.size(); ++i) {
      const mods::json::Value& actor_id = actors.items[i].get("id");
      if (actor_id.is_string()) first_actor_.emplace(actor_id.str, i);  // keeps the first of equal ids
    }
    ids_indexed_ = true;
    indexed_count_ = actors.items.size();
  }
  auto it = first_actor_.find(id);
  if (it == first_actor_.end()) return -1;
  assert(actors.items[it->second].get("id").string("") == id);
  return static_cast<long>(it->second);
}

bool StoredPackage::change(const std::string& label, const editor::Session::Edit& edit,
                           const std::string& actor_id, std::string& error) {
  if (!ready_to_record(error)) return false;
  mods::json::Value& document = package_.document;
  const mods::json::Value::Kind document_kind = document.kind;
  auto found = document.members.find("actors");
  const bool had_actors = found != document.members.end();
  const bool actors_array = had_actors && found->second.is_array();
  const std::size_t actor_count = actors_array ? found->second.items.size() : 0;
  const long index = actors_array ? find_actor(found->second, actor_id) : -1;
  mods::json::Value before = index >= 0 ? found->second.items[static_cast<std::size_t>(index)] : mods::json::Value();
  // Only a non-array "actors" (a document no route edit can succeed on) is kept whole.
  mods::json::Value odd_actors = had_actors && !actors_array ? found->second : mods::json::Value();

  auto restore = [&](mods::json::Value&& actor) {
    document.kind = document_kind;
    if (!had_actors) {
      document.members.erase("actors");
    } else if (!actors_array) {
      document.members["actors"] = std::move(odd_actors);
    } else {
      mods::json::Value& actors = document.members["actors"];
      actors.kind = mods::json::Value::Kind::Array;
      if (index >= 0 && actors.items.size() == actor_count)
        actors.items[static_cast<std::size_t>(index)] = std::move(actor);
    }
  };

  if (!edit(document, error)) {
    restore(std::move(before));
    return false;
  }
  const mods::json::Value& actors = document.get("actors");
  const bool only_that_actor = index >= 0 && actors.is_array() && actors.items.size() == actor_count;
  assert(only_that_actor && "a route edit changes exactly the actor its request names");
  if (!only_that_actor) {
    restore(std::move(before));
    ids_indexed_ = false;
    error = "package \"" + package_.name + "\" was not changed: the edit went beyond the actor \"" + actor_id + "\"";
    return false;
  }

  JournalRecord record;
  record.kind = JournalRecord::Kind::Change;
  record.change.label = label;
  record.change.time_ms = now_ms();
  record.change.actor_index = static_cast<std::size_t>(index);
  record.change.before = std::move(before);
  record.change.after = actors.items[static_cast<std::size_t>(index)];
  std::string bytes, reason;
  if (!encode_record(record, bytes, reason)) {
    restore(std::move(record.change.before));
    error = saving_failed(reason);
    return false;
  }
  if (!append(bytes, error)) {
    restore(std::move(record.change.before));
    return false;
  }
  if (!(record.change.before.get("id") == record.change.after.get("id"))) ids_indexed_ = false;
  unfolded_labels_.push_back(label);
  history_.record(std::move(record.change));
  mark_unfolded();
  return true;
}

bool StoredPackage::undo(std::string& label, std::string& error) { return step(true, label, error); }

bool StoredPackage::redo(std::string& label, std::string& error) { return step(false, label, error); }

// Undo and redo alike: journal the step first, then put the one actor the change touched back as it was
// before it (undo) or after it (redo), and move the history's position.
bool StoredPackage::step(bool back, std::string& label, std::string& error) {
  if (back ? !history_.can_undo() : !history_.can_redo()) {
    error = std::string("nothing to ") + (back ? "undo" : "redo") + " in \"" + package_.name + "\"";
    return false;
  }
  if (!ready_to_record(error)) return false;
  const ChangeRecord& c = back ? history_.next_undo() : history_.next_redo();
  assert(actor_is(package_.document, c.actor_index, back ? c.after : c.before));
  JournalRecord record;
  record.kind = back ? JournalRecord::Kind::Undo : JournalRecord::Kind::Redo;
  std::string bytes, reason;
  encode_record(record, bytes, reason);
  if (!append(bytes, error)) return false;
  package_.document.members["actors"].items[c.actor_index] = back ? c.before : c.after;
  if (!(c.before.get("id") == c.after.get("id"))) ids_indexed_ = false;
  label = c.label;
  if (back) {
    history_.undo();
  } else {
    history_.redo();
  }
  unfolded_labels_.push_back((back ? "Undo: " : "Redo: ") + label);
  mark_unfolded();
  return true;
}

}  // namespace host
