#!/usr/bin/python3
"""A serial line that echoes every byte back, as the servo bus echoes the PC's own transmission:
a pseudo-terminal whose slave is linked to a path (for wine, a COM port of a prefix's dosdevices).

  loopback_port.py LINK     creates LINK -> /dev/pts/N, prints N's path, echoes until SIGTERM
"""
import os
import pty
import select
import signal
import sys
import tty


def main(argv):
    if len(argv) != 2:
        sys.exit(__doc__)
    master, slave = pty.openpty()
    tty.setraw(master)
    name = os.ttyname(slave)
    link = argv[1]
    if os.path.lexists(link):
        os.unlink(link)
    os.symlink(name, link)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    print(name, flush=True)
    try:
        while True:
            select.select([master], [], [])
            try:
                data = os.read(master, 4096)
            except OSError:  # no slave open at the moment; the kept one makes this rare
                continue
            os.write(master, data)
    finally:
        os.unlink(link)


if __name__ == "__main__":
    main(sys.argv)
