"""The program under test keeps what it remembers (recent files, saved loops, the last
speed and pitch of each recording) in a data folder of the test's own, made empty for each
run and removed after it: one run cannot change the next, and the user's own folder is
never touched."""

import atexit
import os
import shutil
import tempfile


def use_private_data_folder():
    folder = tempfile.mkdtemp(prefix="studyloop-e2e-data-")
    os.environ["XDG_DATA_HOME"] = folder
    atexit.register(shutil.rmtree, folder, True)
