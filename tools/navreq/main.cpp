// navreq: request bytes from parameter JSON, and Kse bytes back as a tree.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <iostream>
#include <string>

#include "commands.h"
#include "kinds.h"
#include "readback_cli.h"

#ifndef NAVREQ_VERSION
#define NAVREQ_VERSION "unknown"
#endif

int main(int argc, char** argv) {
  namespace tool = navreq::tool;

  CLI::App app{"navreq: the serializer's request bytes from parameter JSON, and Kse bytes read back.",
               "navreq"};
  app.set_version_flag("--version", std::string("navreq ") + NAVREQ_VERSION);
  app.require_subcommand(1, 1);
  app.footer("Exit status: see `navreq SUBCOMMAND --help`. 64: bad command line.");

  tool::EncodeOptions encode_options;
  std::int64_t now_ms = 0;
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
                   "Write the raw bytes to OUT instead of hex on stdout")
      ->type_name("OUT");
  CLI::Option* now_option =
      encode->add_option("--now-ms", now_ms, "Pin the engine clock to MS milliseconds since the epoch")
          ->type_name("MS");
  encode->add_flag("--log", encode_options.log,
                   "Print every engine log line on stderr: L<level> E<event> <message>");
  encode->footer(
      "Kinds: route (GetRouteReqData), refresh (GetRouteRefreshReqData), location "
      "(GetLocationUploadReqData),\n"
      "navstop (GetNavStopActionReqData; param {\"text\", \"device_id\", \"client_key\"}, no extra),\n"
      "plus (GetRoutePlus), slice (GetRouteSlice).\n"
      "Exit status: the entry function's result (0, 1, 2); 3 it threw; 65 invalid input; 64 bad command "
      "line.");

  tool::BatchOptions batch_options;
  CLI::App* batch = app.add_subcommand("batch", "Run many requests in one process, one JSON object per line");
  batch->add_option("FILE", batch_options.input, "Lines of {\"kind\", \"now_ms\", \"extra\", \"param\"}")
      ->required()
      ->type_name("FILE.jsonl");
  batch->add_option("-o,--output", batch_options.output, "Write the answers to OUT.jsonl instead of stdout")
      ->type_name("OUT.jsonl");
  batch->footer(
      "Each answer line: {\"rc\": RC, \"hex\": \"...\", \"log\": [[LEVEL, EVENT, \"message\"], ...]},\n"
      "with rc null and an \"error\" when the line is invalid or the request threw.\n"
      "The location session state carries from line to line.\n"
      "Exit status: 0 when the file was read; 65 when it cannot be read.");

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

  if (encode->parsed()) {
    if (now_option->count() > 0) encode_options.now_ms = now_ms;
    return tool::RunEncode(encode_options, std::cout, std::cerr);
  }
  if (batch->parsed()) return tool::RunBatch(batch_options, std::cout, std::cerr);
  return tool::RunReadback(app, dump_options, pack_options, diff_options, std::cout, std::cerr);
}
