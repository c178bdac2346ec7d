// The model that the transport's calls are about: a value of every kind, a formula, references,
// boards, saved properties, classes of the calling module and others.
#ifndef MOX_TEST_FUZZ_FUZZ_MODEL_HPP
#define MOX_TEST_FUZZ_FUZZ_MODEL_HPP

namespace mox::fuzz {

inline constexpr const char* model_profile = R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Fan", "module": "fuzz",
     "properties": [{"name": "Label", "type": "s"}, {"name": "Speed", "type": "u"}, {"name": "Goal", "type": "i"},
                    {"name": "Twin", "type": "sp"}, {"name": "d:Count", "type": "u"}],
     "methods": [{"name": "Reset", "id": 3}]},
    {"name": "Everything", "module": "fuzz",
     "properties": [{"name": "Truth", "type": "b"}, {"name": "Byte", "type": "y"}, {"name": "Short", "type": "n"},
                    {"name": "UShort", "type": "q"}, {"name": "Real", "type": "d"}, {"name": "Texts", "type": "as"},
                    {"name": "Bytes", "type": "ay"}, {"name": "Reals", "type": "ad"}, {"name": "Dict", "type": "a{sv}"}]},
    {"name": "Probe", "properties": [{"name": "Level", "type": "i"}]},
    {"name": "Expression", "module": "fuzz",
     "properties": [{"name": "X", "type": "sp"}, {"name": "Y", "type": "d"}, {"name": "Z", "type": "i"},
                    {"name": "Xcache", "type": "d"}, {"name": "Ycache", "type": "d"}, {"name": "Zcache", "type": "d"},
                    {"name": "Formula", "type": "s"}, {"name": "Value", "type": "i"}]}
  ],
  "objects": [
    {"name": "Fan1", "class": "Fan",
     "properties": {"Label": {"value": "first", "persist": "permanent"}, "Speed": 1,
                    "Goal": {"value": 2, "persist": "reset"}, "Twin": "Probe1.Level",
                    "d:Count": {"persist": "power-off"}}},
    {"name": "All", "class": "Everything", "properties": {"Texts": ["a", "b c"], "Dict": "{'a': <byte 5>}"}},
    {"name": "Probe1", "class": "Probe", "properties": {"Level": 3}},
    {"name": "Sum", "class": "Expression",
     "properties": {"X": "Probe1.Level", "Y": 10, "Z": 1, "Formula": "X + Y * Z"}}
  ],
  "boards": [
    {"name": "spare", "position": 8, "objects": [
      {"name": "Fan2", "class": "Fan", "mutex": "Fan3", "properties": {"Label": "two", "Twin": "Fan3.Speed"}},
      {"name": "Fan3", "class": "Fan", "properties": {"Speed": 12, "Twin": "Fan1.Speed"}}]}
  ]
})";

}  // namespace mox::fuzz

#endif
