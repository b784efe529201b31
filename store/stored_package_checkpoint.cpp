// The checkpoint of one package (StoredPackage::fold): the file rewritten with every change, in an order
// that costs one commit of the file system's journal where it can, with the rename left for the store to
// flush. See docs/package-store.md, "Why a checkpoint costs what it does".
#include <latch>
#include <system_error>
#include <thread>

#include "store/content_hash.h"
#include "store/stored_package.h"

namespace host::store {
namespace {

// A checkpoint hashes a text larger than this on its second thread, beside writing it; a smaller one
// (under 0.2 ms to hash) costs less to hash at once than to wait for that thread to start.
constexpr std::size_t kHashAsideAboveBytes = 1 << 20;  // bytes

}  // namespace

// Print, stage and journal (see stage_and_journal), rename. The rename is left unflushed: until the folder
// is flushed a power cut may bring back the replaced file, and the journal, whose checkpoint names both
// versions and keeps the changes between them, replays onto it. The store flushes the folder before a
// fresh journal gives those records up (JournalFile::replace), and when it closes.
bool StoredPackage::fold(std::string& error) {
  if (!has_unfolded()) return true;
  // A file whose stat still matches is checked beside the temporary's writing (see stage_and_journal); any
  // other first, so that a file changed outside is not written for nothing at every try.
  FileIdentity now;
  const bool check_first = store_.files().identify(store_.package_path(package_.name), now) != 0 || !(now == identity_);
  if (check_first && !unchanged_on_disk(error)) return false;
  std::string reason, path;
  // The actors an outline has not read are printed from their text, one at a time.
  mods::json::Value scratch;
  json_text::ElementStandIn stand_in;
  if (unread_.any()) {
    stand_in = [this, &scratch](std::size_t index) { return unread_.stand_in(index, printed_, scratch); };
  }
  if (!printed_.print(package_.document, version_.size, reason, stand_in) ||
      !store_.save_path(package_.name, path, reason)) {
    error = saving_failed(reason);
    return false;
  }
  unread_.printed_whole();  // the print holds every unread actor's text now
  const bool journal_fits = journal_.state() == JournalFile::State::Open;
  FileVersion saved;
  StagedFile staged;
  if (!stage_and_journal(path, journal_fits, !check_first, saved, staged, error)) return false;
  const std::int64_t written_at = wall_clock_ns();  // the content is ours from before the rename on
  if (!store_.commit_unflushed(staged, reason)) {
    error = saving_failed(reason);
    return false;
  }
  FileIdentity written;
  if (store_.files().identify(path, written) == 0) identity_ = written;
  file_noted_ = false;  // the next record names the file just renamed in
  known_at_ns_ = written_at;
  version_ = saved;
  oldest_unfolded_.reset();
  unfolded_labels_.clear();
  // Without a fitting journal the history is written afresh; a failure leaves the file saved and the
  // journal Broken, to be tried again with the next fold.
  if (!journal_fits || journal_wants_compacting()) {
    std::string ignored;
    if (!write_fresh_journal("", ignored) && !journal_fits) journal_.break_off();
  }
  return true;
}

// Writes the temporary at `path` and starts it on its way to the disk, then (with `check`) makes sure the package
// file is still ours, reading it back if its time stamp is too recent to trust while the disk takes the temporary,
// and appends and flushes the checkpoint naming the temporary (`saved`, replacing `version_`) when the journal fits.
// Meanwhile a second thread hashes the text (a large one: beside the write) and then waits for the temporary. Both
// must be on disk before the rename and neither depends on the other. Written in this order, the temporary's blocks
// chosen and the record written before either flush, a file system that journals its metadata commits the two at
// once: one wait, not two. The waiting thread is woken just before the record is written, and waking takes longer
// than that write; were it ever first, the two would be committed one after the other, as safe and only slower.
// Should the checkpoint land without the temporary, it names a version never renamed in, as after a failed rename.
bool StoredPackage::stage_and_journal(const std::string& path, bool journal_fits, bool check, FileVersion& saved,
                                      StagedFile& staged, std::string& error) {
  const std::string& text = printed_.text();
  const bool hash_aside = text.size() > kHashAsideAboveBytes;
  std::latch hashed(1), record_written(1);
  bool go = false, finished = false;  // `go`: started and still ours
  std::string reason;
  auto hash = [&] {
    saved = FileVersion{content_hash(text), text.size()};
    hashed.count_down();
  };
  auto finish = [&] {
    record_written.wait();
    if (go) finished = store_.finish_stage(staged, reason);
  };
  std::thread helper;
  try {
    helper = std::thread([&] {
      if (hash_aside) hash();
      finish();
    });
  } catch (const std::system_error&) {
    // no thread to be had: all on this one, as safe and only slower
  }
  const bool started = store_.start_stage(path, text, identity_.permissions, staged, reason);
  const bool ours = !started || !check || unchanged_on_disk(error);
  go = started && ours;
  if (!hash_aside || !helper.joinable()) hash();
  hashed.wait();
  record_written.count_down();
  const bool journaled = go && (!journal_fits || journal_checkpoint(saved, error));
  if (helper.joinable()) {
    helper.join();
  } else {
    finish();
  }
  if (!ours) return false;  // `error` says so; the temporary goes with `staged`
  if (!finished) error = saving_failed(reason);
  return finished && journaled;
}

// Named before the rename, so that a crash at any point leaves the journal fitting the file.
bool StoredPackage::journal_checkpoint(const FileVersion& saved, std::string& error) {
  JournalRecord checkpoint;
  checkpoint.saved = saved;
  checkpoint.replaced = version_;
  checkpoint.replaced_file = FileStamp::of(identity_);
  std::string record, reason;
  if (!encode_record(checkpoint, record, reason)) {
    error = saving_failed(reason);
    return false;
  }
  return append(record, error);
}

}  // namespace host::store
