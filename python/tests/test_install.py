# pip installs the package into a fresh environment, with no package index and Debian's setuptools.
import shutil
import subprocess
import sys

from conftest import ROOT


def test_pip_installs_the_package_into_a_virtual_environment(tmp_path):
    # A copy, so that the build leaves nothing in the source tree.
    source = tmp_path / "source"
    shutil.copytree(ROOT / "python", source, ignore=shutil.ignore_patterns("tests", "__pycache__", "*.egg-info"))
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", str(tmp_path / "env")], check=True)
    python = tmp_path / "env" / "bin" / "python"
    subprocess.run([str(python), "-m", "pip", "install", "--no-index", "--no-build-isolation", "--quiet",
                    "--disable-pip-version-check", str(source)],
                   check=True, cwd=tmp_path)
    shown = subprocess.run([str(python), "-c", "import tavu; print(tavu.__file__); help(tavu.Client)"], cwd=tmp_path,
                           capture_output=True, text=True, check=True).stdout
    assert shown.startswith(str(tmp_path / "env" / "lib"))
    assert "open_recording(self, device: 'int', file_id: 'int', stream_id: 'int')" in shown
