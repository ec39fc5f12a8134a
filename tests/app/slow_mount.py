#!/usr/bin/env python3
"""A read-only FUSE file system over SOURCE at MOUNTPOINT whose every read takes DELAY
seconds, like a file on a slow network share. While SOURCE holds a file named ".stalled",
reads and the files' attributes wait, as on a share whose server has stopped answering; once
it holds one named ".vanished", every read fails, as on a share that went away.

    slow_mount.py SOURCE MOUNTPOINT DELAY

Runs in the foreground until unmounted.
"""

import errno
import os
import sys
import time

from fusepy import FUSE, FuseOSError, Operations


class SlowShare(Operations):
    def __init__(self, source, delay):
        self.source = source
        self.delay = delay

    def _real(self, path):
        return os.path.join(self.source, path.lstrip("/"))

    def _vanished(self):
        return os.path.exists(os.path.join(self.source, ".vanished"))

    def _wait_while_stalled(self):
        while os.path.exists(os.path.join(self.source, ".stalled")):
            time.sleep(0.01)

    def getattr(self, path, fh=None):
        if path != "/":
            self._wait_while_stalled()
        st = os.lstat(self._real(path))
        return {key: getattr(st, key) for key in
                ("st_mode", "st_size", "st_nlink", "st_uid", "st_gid", "st_atime", "st_mtime",
                 "st_ctime")}

    def readdir(self, path, fh):
        return [".", ".."] + [n for n in os.listdir(self._real(path))
                              if n not in (".vanished", ".stalled")]

    def open(self, path, flags):
        if flags & (os.O_WRONLY | os.O_RDWR | os.O_APPEND | os.O_TRUNC):
            raise FuseOSError(errno.EROFS)
        return os.open(self._real(path), os.O_RDONLY)

    def read(self, path, size, offset, fh):
        self._wait_while_stalled()
        if self._vanished():
            raise FuseOSError(errno.EIO)
        time.sleep(self.delay)
        return os.pread(fh, size, offset)

    def release(self, path, fh):
        os.close(fh)


if __name__ == "__main__":
    FUSE(SlowShare(sys.argv[1], float(sys.argv[3])), sys.argv[2], foreground=True, ro=True,
         nothreads=False, direct_io=True)
