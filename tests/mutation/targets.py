"""Files whose mutants have to be noticed, and the tests that have to notice, the fastest first."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Test:
    program: str
    filter: str = "*"
    corpus: str = ""  # of a fuzz target that replays
    seconds: int = 60

    def arguments(self, root):
        return [root / "fuzz/corpus" / self.corpus] if self.corpus else []


def replay(name):
    return Test(f"fuzz/fuzz_{name}", corpus=name)


DATA = Test("tests/data_test")
JSON = Test("tests/json_test")
COUNTERS = Test("tests/counters_test")
FIELD_SET = Test("tests/field_set_test")
EXPORTER = Test("tests/exporter_test")


def engine(names):
    return Test("tests/engine_test", filter=names)


SPOOL = engine("Spool*:SegmentName*:SegmentHeader*:Frame.*:Cursor*:PrivateFolder*:RecordQueueSpool*")

STREAM = Test("tests/dict_reader_test", filter="Stream*")

TARGETS = {
    "data/byte_reader.h": [DATA],
    "data/page_view.cpp": [DATA, EXPORTER],
    "exporter/block_walk.cpp": [EXPORTER, replay("page")],
    "exporter/counters_path.cpp": [EXPORTER, replay("page")],
    "counters/counters_msgpack.cpp": [COUNTERS, replay("counters_block")],
    "exporter/events_path.cpp": [EXPORTER, replay("page")],
    "field_set/field_set_state.cpp": [FIELD_SET, EXPORTER],
    "field_set/schema_binding.cpp": [FIELD_SET, EXPORTER],
    "data/opaque_events_extractor.cpp": [DATA, replay("opaque")],
    "data/opaque_extended_events.cpp": [DATA, replay("opaque")],
    "data/opaque_meta.cpp": [DATA, replay("opaque")],
    "data/opaque_page_walk.cpp": [DATA, replay("opaque")],
    "data/opaque_payload.cpp": [DATA, replay("opaque")],
    "dict_reader/stream_plan.cpp": [STREAM],
    "dict_reader/stream_run.cpp": [STREAM],
    "json/lexer.cpp": [JSON, replay("json")],
    "json/parser.cpp": [JSON, replay("json")],
    "json/utf8.cpp": [JSON, replay("json")],
    "data/schema_json.cpp": [DATA, replay("events_schema")],
    "data/schema_type_json.cpp": [DATA, replay("events_schema")],
    "data/schema_field_json.cpp": [DATA, replay("events_schema")],
    "data/type_system_json.cpp": [DATA, replay("type_system")],
    "counters/counters_schema_json.cpp": [COUNTERS, replay("counters_schema")],
    "counters/counter_group_json.cpp": [COUNTERS, replay("counters_schema")],
    "counters/counter_data_json.cpp": [COUNTERS, replay("counters_schema")],
    "exporter/exp_file_reader.cpp": [EXPORTER, replay("exp")],
    "counters/counter_set_file.cpp": [COUNTERS, replay("counter_set")],
    "counters/counter_set_tokens.cpp": [COUNTERS, replay("counter_set")],
    "counters/meta_field_line.cpp": [COUNTERS, FIELD_SET],
    "field_set/field_set_file.cpp": [FIELD_SET, replay("field_set")],
    "raw_msgpack_api/record_walk.cpp": [engine("RecordWalk*:SetMapCount*"), replay("record")],
    "raw_msgpack_api/msgpack_token.cpp": [
        engine("ReadToken*:SkipObject*:*EveryForm*:RecordWalk*"), replay("record")],
    "raw_msgpack_api/ack_reader.cpp": [engine("AckReader*"), replay("forward_reply")],
    "raw_msgpack_api/forward_handshake.cpp": [
        engine("ForwardHandshake*"), replay("forward_reply"), engine("ForwardDestination*")],
    "raw_msgpack_api/spool_recovery.cpp": [SPOOL, replay("spool")],
    "raw_msgpack_api/spool_segment.cpp": [SPOOL, replay("spool")],
    "raw_msgpack_api/spool_reader.cpp": [SPOOL, replay("spool")],
    "raw_msgpack_api/spool_format.cpp": [SPOOL, replay("spool")],
}


def tests_of(file=None):
    """Of one file; without, the files."""
    return TARGETS if file is None else TARGETS[file]
