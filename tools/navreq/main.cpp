// navreq: request bytes from parameter JSON, and Kse bytes back as a tree.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>

#include "kinds.h"
#include "readback_cli.h"
#include "subcommands.h"
#include "tool_io.h"

#ifndef NAVREQ_VERSION
#define NAVREQ_VERSION "unknown"
#endif

namespace {

namespace tool = navreq::tool;

// A decimal integer option: checked when the command line is parsed (a value
// out of range is a usage error, never clamped), converted after.
const CLI::Validator kInt64(
    [](std::string& value) {
      return tool::ParseInt64(value) ? std::string()
                                     : "expected a decimal integer in the signed 64-bit range";
    },
    "INT64");
const CLI::Validator kUint64(
    [](std::string& value) {
      return tool::ParseUint64(value) ? std::string()
                                      : "expected a decimal integer from 0 to 18446744073709551615";
    },
    "UINT64");
constexpr const char* kSeedHelp =
    "Draw the random digits of new location session identifiers from a generator seeded with N";

// Standard output must not fail silently: the last buffered bytes are
// written here, and a failure turns the exit status into 73.
int FinishStandardOutput(int status) {
  errno = 0;
  std::cout.flush();
  if (std::cout && std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  if (status != tool::kExitCannotWrite)
    std::cerr << "navreq: " << tool::CannotWrite("standard output", errno) << "\n";
  return tool::kExitCannotWrite;
}

}  // namespace

int main(int argc, char** argv) {
  // A closed pipe on standard output is a write error (exit 73), not a signal.
  std::signal(SIGPIPE, SIG_IGN);

  CLI::App app{"navreq: the serializer's request bytes from parameter JSON, and Kse bytes read back.",
               "navreq"};
  app.set_version_flag("--version", std::string("navreq ") + NAVREQ_VERSION);
  app.require_subcommand(1, 1);
  app.footer("Exit status: see `navreq SUBCOMMAND --help`. 64: bad command line.");

  tool::EncodeOptions encode_options;
  std::string now_ms;
  std::string encode_seed;
  CLI::App* encode = app.add_subcommand("encode", "Encode one request from its parameter JSON");
  encode->add_option("KIND", encode_options.kind, "Request kind")
      ->required()
      ->check(CLI::IsMember(tool::KindNames()));
  encode
      ->add_option("FILE", encode_options.input,
                   "Parameter JSON {\"extra\": {...}, \"param\": {...}}; - for stdin")
      ->capture_default_str();
  encode
      ->add_option("-o,--output", encode_options.output,
                   "Write the raw bytes to OUT (- for stdout) instead of hex on stdout")
      ->type_name("OUT");
  CLI::Option* now_option =
      encode->add_option("--now-ms", now_ms, "Pin the engine clock to MS milliseconds since the epoch")
          ->type_name("MS")
          ->check(kInt64);
  CLI::Option* encode_seed_option =
      encode->add_option("--seed", encode_seed, kSeedHelp)->type_name("N")->check(kUint64);
  encode->add_flag("--log", encode_options.log,
                   "Print every engine log line on stderr: L<level> E<event> <message>");
  encode->footer(
      "Kinds:\n" + tool::KindsHelp() +
      "Exit status: the entry function's result (0, 1, 2); 3 it threw; 65 invalid input; 64 bad command "
      "line;\n73 the output cannot be written.");

  tool::BatchOptions batch_options;
  CLI::App* batch = app.add_subcommand("batch", "Run many requests in one process, one JSON object per line");
  std::string batch_seed;
  batch
      ->add_option("FILE", batch_options.input,
                   "Lines of {\"kind\", \"now_ms\", \"new_session\", \"extra\", \"param\"}; - for stdin")
      ->required()
      ->type_name("FILE.jsonl");
  batch->add_option("-o,--output", batch_options.output, "Write the answers to OUT.jsonl instead of stdout")
      ->type_name("OUT.jsonl");
  CLI::Option* batch_seed_option =
      batch->add_option("--seed", batch_seed, kSeedHelp)->type_name("N")->check(kUint64);
  batch->footer(
      "Each answer line, written as soon as its line has run:\n"
      "{\"rc\": RC, \"hex\": \"...\", \"log\": [[LEVEL, EVENT, \"message\"], ...], \"printed\": [\"line\", "
      "...]},\n"
      "with rc null and an \"error\" when the line is invalid or the request threw.\n"
      "The location session state carries from line to line. A summary line goes to stderr.\n"
      "Exit status: 0 every line was valid input; 65 some line was not, or the file cannot be read;\n"
      "73 the answers cannot be written.");

  tool::DumpOptions dump_options;
  tool::PackOptions pack_options;
  tool::DiffOptions diff_options;
  tool::AddReadbackCommands(app, dump_options, pack_options, diff_options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
    std::cerr << "navreq: " << e.what() << "\nRun with --help for more information.\n";
    return tool::kExitUsage;
  }

  int status = 0;
  if (encode->parsed()) {
    if (now_option->count() > 0) encode_options.now_ms = tool::ParseInt64(now_ms);
    if (encode_seed_option->count() > 0) encode_options.seed = tool::ParseUint64(encode_seed);
    status = tool::RunEncode(encode_options, std::cout, std::cerr);
  } else if (batch->parsed()) {
    if (batch_seed_option->count() > 0) batch_options.seed = tool::ParseUint64(batch_seed);
    status = tool::RunBatch(batch_options, std::cout, std::cerr);
  } else {
    status = tool::RunReadback(app, dump_options, pack_options, diff_options, std::cout, std::cerr);
  }
  return FinishStandardOutput(status);
}
