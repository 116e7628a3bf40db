// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <span>
#include <string_view>
#include <thread>

#include "tools/kelp/batch.h"
#include "tools/kelp/commands.h"
#include "tools/kelp/decode_options.h"
#include "tools/kelp/encode_options.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/progress_bar.h"
#include "tools/kelp/text.h"

namespace {

using namespace std::chrono_literals;

constexpr const char *kExamples =
    R"(Files keep their names and folders, with another ending. The same command goes on after any
interruption; what is finished is skipped. Failures are listed in OUT_DIR/kelp-batch.log.

Examples:
  kelp batch recordings streams --encode
  kelp batch streams decoded --decode --flac -j 4
  kelp batch /data/in /data/out --decode --shard 3/16     one of 16 machines)";

// How the names of recordings end, as far as libsndfile may read them.
constexpr std::string_view kRecordings[] = {".wav", ".wave", ".w64", ".rf64", ".flac", ".ogg",
                                            ".oga", ".opus", ".mp3", ".aif",  ".aiff", ".aifc",
                                            ".au",  ".snd",  ".caf", ".sph",  ".voc"};
constexpr std::string_view kRawRecordings[] = {".raw"};
constexpr std::string_view kStreams[] = {".kelp"};

struct BatchOptions {
  std::string input_folder, output_folder;
  bool encode = false;
  bool decode = false;
  bool force = false;
  unsigned threads = std::max(1U, std::thread::hardware_concurrency());
  std::string shard_text = "1/1";
  Shard shard;
  EncodeOptions encoding;
  DecodeOptions decoding;
  bool raw = false;
  bool flac = false;
  // The options that shape the outputs, of either direction and of one.
  std::vector<const CLI::Option *> for_both, for_encode, for_decode;

  [[nodiscard]] std::span<const std::string_view> input_endings() const {
    if (decode) return kStreams;
    return raw ? std::span<const std::string_view>(kRawRecordings) : kRecordings;
  }
  [[nodiscard]] std::string output_ending() const {
    return encode ? ".kelp" : raw ? ".raw" : flac ? ".flac" : ".wav";
  }

  // Those that were given, with their values.
  [[nodiscard]] std::string settings() const {
    std::string text;
    for (const auto &group : {for_both, for_encode, for_decode}) {
      for (const CLI::Option *option : group) {
        if (option->count() == 0) continue;
        text += option->get_name();
        for (const std::string &value : option->results()) text += " " + value;
        text += "\n";
      }
    }
    return text;
  }
};

// `run` encodes or decodes one file, whose name is set in a copy of `options`.
template <typename Options, typename Report>
BatchWork work_with(const Options &options, Report (*run)(const Options &, const Progress &)) {
  return [&options, run](const std::string &input, const std::string &output, bool force,
                         const Progress &progress) {
    Options one = options;
    one.input = input;
    one.output = output;
    one.force = force;
    const Report report = run(one, progress);
    return BatchResult{report.seconds, report.notes};
  };
}

// The options that `add` adds to the command, which get a heading of their own.
template <typename Add>
std::vector<const CLI::Option *> add_group(CLI::App &command, const std::string &heading, Add add) {
  const size_t before = command.get_options().size();
  add();
  const std::vector<CLI::Option *> all = command.get_options();
  for (size_t i = before; i < all.size(); i++) all[i]->group(heading);
  return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
}

// What became of files, in a file of the output folder that exists only where there is something to
// tell: "failed" or "note", name and text, with tabs between them.
class Log {
 public:
  explicit Log(std::string path) : path_(std::move(path)) {
    std::error_code none;
    std::filesystem::remove(path_, none);
  }

  void write(const std::string &kind, const std::string &name, std::string text) {
    if (!file_.is_open()) file_.open(path_);
    std::replace(text.begin(), text.end(), '\n', ' ');
    file_ << kind << '\t' << name << '\t' << text << '\n' << std::flush;
    if (!file_) throw system_failure(path_, "cannot be written", "make room");
  }
  [[nodiscard]] const std::string &path() const { return path_; }

 private:
  std::string path_;
  std::ofstream file_;
};

// The signals that end the program, held back while threads work: what was done is told first.
class HeldSignals {
 public:
  HeldSignals() {
    sigemptyset(&set_);
    for (const int number : kNumbers) sigaddset(&set_, number);
    pthread_sigmask(SIG_BLOCK, &set_, &before_);
  }
  ~HeldSignals() { release(); }
  HeldSignals(const HeldSignals &) = delete;
  HeldSignals &operator=(const HeldSignals &) = delete;

  [[nodiscard]] static bool pending() {
    sigset_t waiting;
    sigpending(&waiting);
    return std::any_of(std::begin(kNumbers), std::end(kNumbers),
                       [&](int number) { return sigismember(&waiting, number) == 1; });
  }
  // A pending signal now does its work.
  void release() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  static constexpr int kNumbers[] = {SIGINT, SIGTERM, SIGHUP};
  sigset_t set_ = {}, before_ = {};
};

std::string summary(const BatchOptions &options, const BatchPlan &plan, const BatchCount &count,
                    double elapsed_s) {
  std::string text = counted(count.files, "file") + ": " + std::to_string(count.done) +
                     (options.encode ? " encoded" : " decoded");
  if (count.finished != 0) text += ", " + std::to_string(count.finished) + " finished before";
  if (count.failed != 0) text += ", " + std::to_string(count.failed) + " failed";
  if (plan.in_other_shards != 0)
    text += "; " + std::to_string(plan.in_other_shards) + " in other shards";
  if (plan.others != 0) text += "; " + counted(plan.others, "file") + " of other kinds left alone";
  text += "\n";
  if (count.done != 0) {
    text += duration_text(count.seconds) + " of speech in " + duration_text(elapsed_s) + ", " +
            decimal(count.seconds / elapsed_s, 0) + " times real time on " +
            counted(options.threads, "thread") + "\n";
  }
  return text;
}

// Tells how a batch goes: the user in few lines, the log file by file.
class BatchReport {
 public:
  BatchReport(const BatchOptions &options, const BatchPlan &plan, const Console &console)
      : options_(options),
        plan_(plan),
        console_(console),
        log_((std::filesystem::path(options.output_folder) /
              ("kelp-batch" + options.shard.suffix() + ".log"))
                 .string()),
        bar_(!console.quiet) {
    for (const BatchFault &fault : plan.faults) tell({true, fault.name, fault.text});
  }

  void tell(const BatchMessage &message) {
    if (message.failed) {
      bar_.clear();
      std::cerr << "kelp: " << message.text << '\n';
    }
    log_.write(message.failed ? "failed" : "note", message.name, message.text);
  }

  void draw(const BatchCount &count) { bar_.draw(count, elapsed_s()); }

  void interrupted(const BatchCount &count) {
    bar_.clear();
    console_.report(summary(options_, plan_, count, elapsed_s()));
    std::cout << std::flush;
    std::cerr << "kelp: interrupted; the same command goes on from here\n";
  }

  // Throws a Failure where any file failed.
  void end(BatchCount count) {
    bar_.clear();
    count.failed += plan_.faults.size();
    count.files += plan_.faults.size();
    console_.report(summary(options_, plan_, count, elapsed_s()));
    if (count.noted != 0)
      console_.report(counted(count.noted, "file") + " with notes, see " + log_.path() + "\n");
    if (count.failed != 0) {
      throw Failure(std::to_string(count.failed) + " of " + counted(count.files, "file") +
                    " failed; " + log_.path() + " tells why");
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] double elapsed_s() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
  }

  const BatchOptions &options_;
  const BatchPlan &plan_;
  const Console &console_;
  Log log_;
  ProgressBar bar_;
  Clock::time_point start_ = Clock::now();
};

void run_batch(const BatchOptions &options, const Console &console) {
  const BatchPlan plan =
      plan_batch(options.input_folder, options.output_folder, options.input_endings(),
                 options.output_ending(), options.shard);
  if (plan.files.empty() && plan.faults.empty() && plan.in_other_shards == 0) {
    throw Failure(options.input_folder + ": holds no " +
                  (options.encode ? "recording; a name such as .wav or .flac tells one, with --raw "
                                    "a name in .raw"
                                  : ".kelp stream; 'kelp batch --encode' makes them"));
  }
  BatchJournal journal(plan, options.shard, options.settings());
  BatchReport report(options, plan, console);

  HeldSignals signals;  // inherited by the threads
  Batch batch(plan, journal,
              options.encode ? work_with(options.encoding, encode_recording)
                             : work_with(options.decoding, decode_stream),
              options.force);
  batch.start(options.threads);
  for (bool done = false; !done;) {
    done = batch.wait_for(100ms);
    for (const BatchMessage &message : batch.take_messages()) report.tell(message);
    if (done) break;
    report.draw(batch.count());
    if (HeldSignals::pending()) {
      batch.stop();
      report.interrupted(batch.count());
      signals.release();
    }
  }
  report.end(batch.count());
}

// What the command line says beyond its single options.
void check_and_run(BatchOptions &options, const Console &console) {
  if (!options.encode && !options.decode) throw CLI::RequiredError("--encode or --decode");
  for (const CLI::Option *option : options.encode ? options.for_decode : options.for_encode) {
    if (option->count() == 0) continue;
    throw CLI::ValidationError(
        option->get_name(), options.encode ? "goes with --decode only" : "goes with --encode only");
  }
  options.encoding.format.raw = options.decoding.raw = options.raw;
  run_batch(options, console);
}

}  // namespace

void add_batch_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<BatchOptions>();
  CLI::App &command =
      new_command(program, "batch", "Encode or decode all files of a folder", kExamples);
  add_operand(command, "IN_DIR", options->input_folder, "Folder to read, with all folders in it");
  add_operand(command, "OUT_DIR", options->output_folder,
              "Folder to write, made where it is missing");
  options->for_both = add_group(command, "What to do", [&] {
    CLI::Option *const encode =
        command.add_flag("--encode", options->encode, "From recordings to .kelp streams");
    command.add_flag("--decode", options->decode, "From .kelp streams to recordings")
        ->excludes(encode);
    command.add_flag("--raw", options->raw,
                     "Recordings are .raw files without a header: 16-bit little-endian samples, "
                     "8000 Hz, mono");
  });
  command.add_option("-j,--jobs", options->threads, "Files at a time; all cores where not given")
      ->check(CLI::Range(1, 1024).description(""))
      ->type_name("N");
  command.add_option("--shard", options->shard_text, "Work on the K-th of N parts of the files")
      ->check([options](const std::string &text) { return parse_shard(text, options->shard); })
      ->type_name("K/N");
  command.add_flag("-f,--force", options->force,
                   "Do finished files again, and overwrite files that no batch has made");
  options->for_encode =
      add_group(command, "With --encode", [&] { add_encode_options(command, options->encoding); });
  options->for_decode = add_group(command, "With --decode", [&] {
    command.add_flag("--flac", options->flac, "Write FLAC files instead of WAV files");
    add_decode_options(command, options->decoding);
  });
  command.callback([options, &console] { check_and_run(*options, console); });
}
