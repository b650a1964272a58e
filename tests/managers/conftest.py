"""The fixtures of the integration tests, for tests of managers as well."""

import importlib.util
import sys
from pathlib import Path

INTEGRATION = Path(__file__).resolve().parents[1] / "integration"

# Its own name is this file's, too.
sys.path.insert(0, str(INTEGRATION))
_spec = importlib.util.spec_from_file_location("integration_conftest", INTEGRATION / "conftest.py")
_module = importlib.util.module_from_spec(_spec)
sys.modules[_spec.name] = _module
_spec.loader.exec_module(_module)

# pytest finds fixtures and hooks here by their names.
globals().update({name: value for name, value in vars(_module).items() if not name.startswith("__")})
