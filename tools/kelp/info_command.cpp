// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/info.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/plot.h"

namespace {

constexpr const char *kExamples =
    R"(Examples:
  kelp info speech.kelp
  kelp info --plot speech.html speech.kelp        tells the values under the pointer
  kelp info --json --frames speech.kelp           described in kelp-info(1))";

struct InfoOptions {
  std::string input;
  std::string plot;  // empty: none
  bool frames = false;
  bool json = false;
  bool force = false;
};

bool is_page(const std::string &path) {
  return path.ends_with(".html");
}

// A CLI11 check: what is wrong with the argument, or nothing.
std::string plot_fault(const std::string &path) {
  if (is_page(path) || path.ends_with(".svg")) return {};
  return path + ": its name must end in .svg (a picture) or .html (a page that tells values)";
}

void draw(StreamInfo &&info, const InfoOptions &options) {
  OutputFile output(options.plot, options.input, options.force);
  PlotSource source;
  source.title = std::filesystem::path(info.name).filename().string();
  source.frames = std::move(info.frames);
  source.speech = std::move(info.speech);
  source.tally = info.tally;
  const std::string text = is_page(options.plot) ? draw_html(source) : draw_svg(source);
  output.append({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
  output.commit();
}

void show_info(const InfoOptions &options, const Console &console) {
  const bool plot = !options.plot.empty();
  StreamInfo info = read_info(options.input, plot);
  const std::optional<Failure> fault = info.fault;
  if (options.json) {
    console.report(info_json(info, options.frames));
  } else if (!info.frames.empty()) {  // else there is nothing before the fault
    console.report(options.frames ? info_table(info) : info_text(info));
  }
  if (plot && !info.frames.empty()) draw(std::move(info), options);
  if (fault) throw Failure(*fault);
}

}  // namespace

void add_info_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App &command = new_command(
      program, "info", "Show rates, bit rate and pitch of a stream, or draw it", kExamples);
  add_operand(command, "FILE.kelp", options->input, "Stream to read; - is standard input");
  command.add_flag("--frames", options->frames, "A line for every frame");
  command.add_flag("--json", options->json, "As JSON; with --frames the frames too");
  command
      .add_option("--plot", options->plot,
                  "Draw waveform, rates, pitch and spectrogram into FILE.svg or FILE.html")
      ->check(plot_fault)
      ->type_name("FILE");
  command.add_flag("-f,--force", options->force, "Overwrite an existing plot");
  command.callback([options, &console] { show_info(*options, console); });
}
