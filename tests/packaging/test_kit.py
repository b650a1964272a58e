"""The integrator's kit: what is said twice agrees, and what a firmware's build system takes is there."""

import json

from conftest import ROOT


def architectures():
    """The processors of the one list."""
    lines = (ROOT / "cmake/toolchains/architectures").read_text("ascii").splitlines()
    return [line.split()[0] for line in lines if line and not line.startswith("#")]


def test_each_processor_of_the_list_has_its_presets():
    presets = json.loads((ROOT / "CMakePresets.json").read_text("ascii"))
    configured = [preset["name"] for preset in presets["configurePresets"]
                  if preset.get("inherits") == "cross"]
    built = [preset["name"] for preset in presets["buildPresets"] if preset["configurePreset"] in configured]
    assert configured == built == architectures()
