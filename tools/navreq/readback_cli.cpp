#include "readback_cli.h"

namespace navreq {
namespace tool {

void AddReadbackCommands(CLI::App& app, DumpOptions& dump, PackOptions& pack, DiffOptions& diff) {
  CLI::App* d = app.add_subcommand("dump", "Show Kse bytes as a tree: envelopes, header and body by name");
  d->add_option("FILE", dump.input, "The request, raw or written as text (see below); - for stdin")
      ->capture_default_str();
  auto* json = d->add_flag("--json", dump.json, "Print the tree as JSON (the input of navreq pack)");
  // The packet dissector highlights what an unsigned-byte list carries, whose
  // bytes are spread over one head each: it needs them gathered.
  d->add_flag("--paths", dump.paths,
              "With --json: every value also carries its path as navreq diff names it, and the bytes an "
              "unsigned-byte list or a message carries their hex (the browser inspector's keys)")
      ->needs(json);
  auto* hex = d->add_flag_callback(
      "--hex", [&dump] { dump.mode = InputMode::kHex; },
      "Read the input as hex text: plain hex, xxd or hexdump -C output, or a C array");
  auto* raw = d->add_flag_callback(
      "--raw", [&dump] { dump.mode = InputMode::kRaw; }, "Read the input as raw bytes");
  hex->excludes(raw);
  d->add_flag("--full", dump.full, "Show undecoded runs whole (default: their first 64 bytes)");
  d->footer(
      "Input: raw bytes, or text: hex (whitespace, 0x, commas, ':' or '-' between bytes), xxd or\n"
      "hexdump -C output, a C array literal, base64 (standard or URL-safe). Input that is not text\n"
      "(a NUL, a control character, a byte from 0x80) is raw; text is never read as raw bytes unless\n"
      "--raw says so: broken text is an error naming the form, the line and the column.\n"
      "A HAR file (JSON with log.entries) shows every entry whose body is a request, headed by\n"
      "'entry N: METHOD URL (FORM)', then the entries skipped with their reasons (no body, not a\n"
      "request, damaged by a text conversion). FILE.har#N (from 0; -- -#N for stdin) is entry N alone.\n"
      "Every line starts with @OFFSET+LENGTH: where the value's head and bytes are, counted from the\n"
      "start of the input or of the inflated body that holds it.\n"
      "Exit status: 0 every byte decoded and every known record complete and well-typed; 1 some bytes\n"
      "did not decode or a body did not inflate; 2 a known record has a missing field, a type mismatch\n"
      "or an unknown tag; 65 unreadable input (also a HAR with no request, a #N out of range or not a\n"
      "request); 64 bad command line; 73 standard output not written. In a HAR the worst request's\n"
      "status, a damaged body counting as bytes not decoded.");

  CLI::App* p = app.add_subcommand("pack", "Turn a tree from `navreq dump --json` back into bytes");
  p->add_option("FILE", pack.input, "The JSON tree; - for stdin")->capture_default_str();
  p->add_option("-o,--output", pack.output, "Write the raw bytes to OUT (- for stdout) instead of hex")
      ->type_name("OUT");
  p->footer(
      "An unedited tree gives back the bytes it was dumped from. After an edit every length and count\n"
      "is computed again, an integer keeps its head form unless the new value does not fit, and an\n"
      "edited gzip body is compressed again. The tree format, with a worked edit: docs/tree-format.md.\n"
      "Exit status: 0 written; 65 not a valid tree (the message names the JSON path); 64 bad command\n"
      "line; 73 OUT not written.");

  CLI::App* f = app.add_subcommand("diff", "Compare two requests field by field");
  f->add_option("A", diff.a,
                "The first request, raw or as text (read as dump reads it), or FILE.har#N; - for stdin")
      ->required();
  f->add_option("B", diff.b,
                "The second request, raw or as text (read as dump reads it), or FILE.har#N; - for stdin")
      ->required();
  f->add_flag("--json", diff.json, "Print the differences as a JSON array of {path, a, b}");
  f->add_flag("--force", diff.force, "Compare requests of different commands all the same");
  f->add_option("--ignore", diff.ignore, "Leave out PATH and everything under it (repeatable)")
      ->type_name("PATH")
      ->allow_extra_args(false);
  // The examples are run as written by a test (tests/tool/diff_cli_test.cpp):
  // each ends with the exit status it gives on the example requests.
  f->footer(
      "One line per difference: PATH: A-VALUE -> B-VALUE, PATH: only in A, PATH: only in B.\n"
      "PATH names each level by field name (by tag where the record is not known), list elements by\n"
      "position and map values by key in brackets: body.start.point.longitude, header.imei,\n"
      "body.via_points[1].point.latitude, body.side_records[toGuidance]. In --ignore, * matches one\n"
      "level (or any characters within a level) and ** any number of levels: '**.timeSeconds'. A\n"
      "pattern that matches no path of A or B is reported on standard error. Compressed bodies are\n"
      "compared inflated. Requests of different commands are trouble; with --force they are compared,\n"
      "a field named only where both bodies' records name it alike (by its tag elsewhere).\n"
      "Exit status: 0 no differences; 1 differences; 2 trouble: an input that cannot be read or in\n"
      "which dump finds a problem, or requests of different commands without --force (the first line\n"
      "on standard error names the input and the problem; the differences found are still printed;\n"
      "a HAR file must hold one request, or its entry be named as FILE.har#N);\n"
      "64 bad command line; 73 standard output not written.\n"
      "Examples, on requests written by navreq encode (examples/*.json):\n"
      "  navreq diff route.hex route.hex                                # 0: no differences\n"
      "  navreq diff plus.hex slice.hex                                 # 2: different commands\n"
      "  navreq diff plus.hex slice.hex --force --ignore cmd_name       # 1: the slices differ\n"
      "  navreq diff --json plus.hex slice.hex --force                  # 1: the same as JSON\n"
      "  navreq diff route.hex route.hex --ignore body.start.point.longitude --ignore header.imei \\\n"
      "      --ignore 'body.via_points[1].point.latitude' --ignore 'body.side_records[toGuidance]' \\\n"
      "      --ignore '**.timeSeconds'                                  # 0");
}

int RunReadback(const CLI::App& app, const DumpOptions& dump, const PackOptions& pack,
                const DiffOptions& diff, std::ostream& out, std::ostream& err) {
  if (app.got_subcommand("dump")) return RunReadbackDump(dump, out, err);
  if (app.got_subcommand("pack")) return RunPack(pack, out, err);
  if (app.got_subcommand("diff")) return RunDiff(diff, out, err);
  return 64;
}

}  // namespace tool
}  // namespace navreq
