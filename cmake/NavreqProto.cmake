# Protocol-buffers code of the navigation stop event (nanopb). Filled in by the
# stop-event work; until then nothing is built from proto/.
