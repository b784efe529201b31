// The change service of one package. Invariants between calls: the journal (when Open) replays from the
// checkpoint naming `version_` to exactly the document and history in memory; `version_`/`identity_`
// describe NAME.json as this editor last read or wrote it.
#include "store/stored_package.h"

#include <cassert>
#include <cerrno>

#include "json_text/json_text.h"
#include "store/content_hash.h"

namespace host::store {
namespace {

constexpr unsigned kAnyoneMayWrite = 0222;  // permission bits: write for owner, group or others
constexpr std::int64_t kNsPerMs = 1'000'000;

}  // namespace

std::int64_t StoredPackage::wall_clock_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

StoredPackage::StoredPackage(PackageStore& store, std::string name)
    : store_(store), journal_(store, store.journal_path(name)) {
  package_.name = std::move(name);
}

std::unique_ptr<StoredPackage> StoredPackage::open(PackageStore& store, const std::string& name, std::string& error,
                                                   Reading reading) {
  std::string bytes;
  FileIdentity identity;
  const std::int64_t read_at = wall_clock_ns();
  if (!store.read_package(name, bytes, identity, error)) return nullptr;
  std::unique_ptr<StoredPackage> stored(new StoredPackage(store, name));
  mods::json::Value& document = stored->package_.document;
  json_text::JsonTextError json_error;
  std::vector<json_text::TextRange> actors;
  const bool parsed = reading == Reading::Outline
                          ? json_text::parse_json_outline(bytes, document, json_error, "actors", "id", actors)
                          : json_text::parse_json_indexed(bytes, document, json_error, "actors", actors);
  if (!parsed) {
    error = "package \"" + name + "\" is not valid JSON: " + json_error.message();
    return nullptr;
  }
  if (!document.is_object()) {
    error = "package \"" + name + "\" is not a mod package: its document is not a JSON object";
    return nullptr;
  }
  if (reading == Reading::Outline) stored->unread_.outline(document.get("actors").items.size());
  stored->identity_ = identity;
  stored->known_at_ns_ = read_at;
  stored->version_ = FileVersion{content_hash(bytes), bytes.size()};
  const FileVersion read = stored->version_;
  if (!stored->read_journal(bytes, error)) return nullptr;
  // A file a checkpoint saved is our print, reusable unless changes replayed at open replaced it. An
  // outline reads its actors from that print, or else from the file's text until a whole print is made;
  // either way it needs the place of every actor.
  const bool own_print =
      stored->journal_.state() == JournalFile::State::Open && stored->version_ == read && !stored->has_unfolded();
  const std::size_t count = document.get("actors").items.size();
  if (stored->unread_.any() && actors.size() != count) stored->read_whole(bytes, actors);
  if (own_print) {
    stored->printed_.adopt(std::move(bytes), std::move(actors));
  } else if (stored->unread_.any()) {
    stored->unread_.outline(count, std::move(bytes), std::move(actors));
  }
  return stored;
}

// `file_bytes` parsed once already, so it parses again, this time with every actor whole.
void StoredPackage::read_whole(const std::string& file_bytes, std::vector<json_text::TextRange>& actors) {
  json_text::JsonTextError ignored;
  json_text::parse_json_indexed(file_bytes, package_.document, ignored, "actors", actors);
  unread_.forget();
}

mods::json::Value* StoredPackage::actors_array() {
  auto found = package_.document.members.find("actors");
  if (found == package_.document.members.end() || !found->second.is_array()) return nullptr;
  return &found->second;
}

editor::Session::Package& StoredPackage::package() {
  if (unread_.any()) unread_.read_all(*actors_array(), printed_);
  return package_;
}

void StoredPackage::read_actors_with_id(const std::string& id) {
  if (unread_.any()) unread_.read_with_id(*actors_array(), id, printed_);
}

bool StoredPackage::read_journal(const std::string& file_bytes, std::string& error) {
  std::string bytes;
  FileIdentity identity;
  int code = store_.files().read_file(store_.journal_path(package_.name), bytes, identity);
  if (code == ENOENT) return true;  // never edited here: Missing
  if (code != 0) {
    // Opening without it could lose changes it holds beyond the file; refusing says where and what to do.
    const std::string path = store_.journal_path(package_.name);
    error = "package \"" + package_.name + "\" cannot be opened: its journal \"" + path +
            "\" cannot be read: " + read_error_text(code) +
            "; the package file holds every change saved so far, so moving the journal aside opens " +
            "the package as that file holds it (without the history, and without changes the journal holds beyond it)";
    return false;
  }
  JournalContents contents;
  const bool decoded = decode_journal(bytes, contents);
  long start = decoded ? replay_start(contents, version_, FileStamp::of(identity_)) : -1;
  // A journal that does not fit the file describes edits of a version others have replaced: its history
  // would claim changes the file does not hold, so it is set aside (replaced with the first change). The
  // changes it held that no file took yet are kept aside for a reload to discard, never dropped unsaid.
  if (start < 0) {
    if (decoded) set_aside_ = waiting_changes(contents.records);
    return true;
  }
  std::vector<json_text::TextRange> ignored_ranges;
  // Records past the checkpoint are applied to whole actors.
  const bool to_apply = static_cast<std::size_t>(start) + 1 < contents.records.size();
  if (unread_.any() && to_apply) read_whole(file_bytes, ignored_ranges);
  if (!replay(contents, start)) {
    read_whole(file_bytes, ignored_ranges);
    history_.clear();
    return true;
  }
  // A journal of an earlier format is not appended to: the first change or checkpoint writes it afresh.
  if (contents.format == kJournalFormat) journal_.adopt(contents.valid_bytes, bytes.size());
  file_noted_ = false;  // the file as read may be another than one the journal names (its content decided)
  if (oldest_unfolded_ && !store_.writes_forbidden() && !fold(error)) return false;
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
        if (apply && !patch_actor(document, r.change.actor_index, r.change.patch, true)) return false;
        history.record(r.change);
        break;
      case JournalRecord::Kind::Undo: {
        if (!history.can_undo()) return false;
        const ChangeRecord& c = history.next_undo();
        if (apply && !patch_actor(document, c.actor_index, c.patch, false)) return false;
        history.undo();
        break;
      }
      case JournalRecord::Kind::Redo: {
        if (!history.can_redo()) return false;
        const ChangeRecord& c = history.next_redo();
        if (apply && !patch_actor(document, c.actor_index, c.patch, true)) return false;
        history.redo();
        break;
      }
      case JournalRecord::Kind::Checkpoint:
      case JournalRecord::Kind::File: break;
    }
    unfolded = unfolded || (apply && r.kind != JournalRecord::Kind::Checkpoint && r.kind != JournalRecord::Kind::File);
  }
  history_ = std::move(history);
  if (unfolded) oldest_unfolded_ = Clock::now();
  return true;
}

std::string StoredPackage::saving_failed(const std::string& reason) const {
  return "package \"" + package_.name + "\" could not be saved: " + reason;
}

// A stat that matches is trusted only when the file's time lies clearly before the moment its content was
// last known: a write within the timestamp granularity of that time could keep size, times and inode.
// Reading and hashing a 20 MB file costs tens of ms, so the window is as narrow as the stamps allow.
bool StoredPackage::unchanged_on_disk(std::string& error) {
  constexpr std::int64_t kNsPerSecond = 1'000'000'000;
  const std::string path = store_.package_path(package_.name);
  FileIdentity now;
  const std::int64_t granularity =
      identity_.modified_ns % kNsPerSecond == 0 ? kTimestampGranularityNs : kFineTimestampGranularityNs;
  if (store_.files().identify(path, now) == 0 && now == identity_ &&
      identity_.modified_ns + granularity < known_at_ns_) {
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
  return !set_aside_.labels.empty() || (has_unfolded() && !unchanged_on_disk(ignored));
}

bool StoredPackage::drop_journal(std::string& error) {
  const std::string path = store_.journal_path(package_.name);
  const int code = store_.files().remove(path);
  if (code != 0 && code != ENOENT) {
    error = "the journal \"" + path + "\" cannot be removed: " + error_text(code);
    return false;
  }
  set_aside_ = SetAsideChanges{};
  journal_.break_off();  // nothing more is recorded here: the caller drops this package
  return true;
}

bool StoredPackage::ready_to_record(std::string& error) {
  if (!set_aside_.labels.empty()) {
    error = "package \"" + package_.name + "\" was changed outside the editor: reload it before editing";
    return false;
  }
  if (!unchanged_on_disk(error)) return false;
  if ((identity_.permissions & kAnyoneMayWrite) == 0) {  // marked read-only: refused even for root
    error = "package \"" + package_.name + "\" is read-only";
    return false;
  }
  // A journal that may hold a record of a refused change must be rewritten before anything follows it.
  return journal_.state() != JournalFile::State::Broken || fold(error);
}

void StoredPackage::mark_unfolded() {
  if (!oldest_unfolded_) oldest_unfolded_ = Clock::now();
}

// The first record after a checkpoint's rename goes with one naming the file it renamed in, so that the
// records after it replay onto that file alone (see replay_start).
bool StoredPackage::append(const std::string& bytes, std::string& error) {
  if (journal_.state() == JournalFile::State::Missing) {
    assert(!oldest_unfolded_);  // a journal is only missing while the document equals the file
    return write_fresh_journal(bytes, error);
  }
  std::string reason, records;
  if (!file_noted_) {
    JournalRecord file;
    file.kind = JournalRecord::Kind::File;
    file.saved_file = FileStamp::of(identity_);
    if (!encode_record(file, records, reason)) {
      error = saving_failed(reason);
      return false;
    }
  }
  records += bytes;
  if (!journal_.append(records, reason)) {
    error = saving_failed(reason);
    return false;
  }
  file_noted_ = true;
  return true;
}

// The history alone, then `extra` (records to follow it), written as a new journal that fits the file.
bool StoredPackage::write_fresh_journal(const std::string& extra, std::string& error) {
  while (history_.stored_bytes() > kJournalCeilingBytes / 2) history_.forget_oldest();
  std::string bytes, reason;
  if (!encode_history(history_, version_, FileStamp::of(identity_), bytes, reason)) {
    error = saving_failed(reason);
    return false;
  }
  bytes += extra;
  if (!journal_.replace(bytes, reason)) {
    error = saving_failed(reason);
    return false;
  }
  file_noted_ = true;
  return true;
}

bool StoredPackage::journal_wants_compacting() const {
  return journal_.bytes() > kCompactAboveBytes &&
         (journal_.bytes() > 2 * history_.stored_bytes() || journal_.bytes() > kJournalCeilingBytes);
}

bool StoredPackage::fold_due(Clock::time_point now) const {
  if (journal_.state() == JournalFile::State::Broken) return true;
  return oldest_unfolded_ && now - *oldest_unfolded_ >= kFoldAfter;
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

// A change in four steps: note what undoes the edit, run it, check it kept to the named actor, journal it.
// Any refusal puts the document back from the note, so that nothing is left half done.
bool StoredPackage::change(const std::string& label, const editor::Session::Edit& edit, const std::string& actor_id,
                           std::string& error) {
  if (!ready_to_record(error)) return false;
  Rollback rollback = note_before_edit(actor_id);
  ChangeRecord change;
  if (!edit(package_.document, error) || !edit_kept_to_actor(rollback, actor_id, error) ||
      !journal_change(label, rollback, change, error)) {
    roll_back(rollback);
    return false;
  }
  if (patch_touches_id(change.patch)) ids_indexed_ = false;
  printed_.actor_changed(change.actor_index);
  unfolded_labels_.push_back(label);
  history_.record(std::move(change));
  mark_unfolded();
  return true;
}

StoredPackage::Rollback StoredPackage::note_before_edit(const std::string& actor_id) {
  Rollback rollback;
  mods::json::Value& document = package_.document;
  rollback.document_kind = document.kind;
  auto found = document.members.find("actors");
  rollback.had_actors = found != document.members.end();
  rollback.actors_array = rollback.had_actors && found->second.is_array();
  if (rollback.actors_array) {
    rollback.actor_count = found->second.items.size();
    rollback.index = find_actor(found->second, actor_id);
    if (rollback.index >= 0) {
      const std::size_t index = static_cast<std::size_t>(rollback.index);
      unread_.read(found->second, index, printed_);  // an edited actor is never left to its outline's text
      rollback.before = found->second.items[index];
    }
  } else if (rollback.had_actors) {
    rollback.odd_actors = found->second;  // a document no route edit can succeed on
  }
  return rollback;
}

bool StoredPackage::edit_kept_to_actor(const Rollback& rollback, const std::string& actor_id, std::string& error) {
  const mods::json::Value& actors = package_.document.get("actors");
  const bool only_that_actor = rollback.index >= 0 && actors.is_array() && actors.items.size() == rollback.actor_count;
  assert(only_that_actor && "a route edit changes exactly the actor its request names");
  if (only_that_actor) return true;
  ids_indexed_ = false;
  error = "package \"" + package_.name + "\" was not changed: the edit went beyond the actor \"" + actor_id + "\"";
  return false;
}

// Appends the change to the journal (the patch from `rollback`'s actor to the document's); on true
// `change` holds it.
bool StoredPackage::journal_change(const std::string& label, Rollback& rollback, ChangeRecord& change,
                                   std::string& error) {
  const std::size_t index = static_cast<std::size_t>(rollback.index);
  JournalRecord record;
  record.kind = JournalRecord::Kind::Change;
  record.change.label = label;
  record.change.time_ms = wall_clock_ns() / kNsPerMs;
  record.change.actor_index = index;
  record.change.patch = diff_actor(rollback.before, package_.document.get("actors").items[index]);
  std::string bytes, reason;
  bool saved = encode_record(record, bytes, reason);
  if (!saved) error = saving_failed(reason);
  if (!saved || !append(bytes, error)) return false;
  change = std::move(record.change);
  return true;
}

void StoredPackage::roll_back(Rollback& rollback) {
  mods::json::Value& document = package_.document;
  document.kind = rollback.document_kind;
  if (!rollback.had_actors) {
    document.members.erase("actors");
  } else if (!rollback.actors_array) {
    document.members["actors"] = std::move(rollback.odd_actors);
  } else {
    mods::json::Value& actors = document.members["actors"];
    actors.kind = mods::json::Value::Kind::Array;
    if (rollback.index >= 0 && actors.items.size() == rollback.actor_count)
      actors.items[static_cast<std::size_t>(rollback.index)] = std::move(rollback.before);
  }
}

bool StoredPackage::undo(std::string& label, std::string& error) { return step(true, label, error); }

bool StoredPackage::redo(std::string& label, std::string& error) { return step(false, label, error); }

// Undo and redo alike: patch the one actor the change touched back (undo) or forward (redo), journal the
// step (patched back again should that fail), and move the history's position.
bool StoredPackage::step(bool back, std::string& label, std::string& error) {
  if (back ? !history_.can_undo() : !history_.can_redo()) {
    error = std::string("nothing to ") + (back ? "undo" : "redo") + " in \"" + package_.name + "\"";
    return false;
  }
  if (!ready_to_record(error)) return false;
  const ChangeRecord& c = back ? history_.next_undo() : history_.next_redo();
  // Read before it is patched: an actor still marked unread would be printed from its old text.
  if (unread_.any()) unread_.read(*actors_array(), c.actor_index, printed_);
  const bool fits = patch_actor(package_.document, c.actor_index, c.patch, !back);
  assert(fits && "the history fits the document it was recorded on");
  if (!fits) {
    error = "package \"" + package_.name + "\" was not changed: its history does not fit the document";
    return false;
  }
  JournalRecord record;
  record.kind = back ? JournalRecord::Kind::Undo : JournalRecord::Kind::Redo;
  std::string bytes, reason;
  if (!encode_record(record, bytes, reason) || !append(bytes, error)) {
    if (!reason.empty()) error = saving_failed(reason);
    patch_actor(package_.document, c.actor_index, c.patch, back);  // fits: it was just applied the other way
    return false;
  }
  printed_.actor_changed(c.actor_index);
  if (patch_touches_id(c.patch)) ids_indexed_ = false;
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

}  // namespace host::store
