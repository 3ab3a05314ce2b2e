# SPDX-License-Identifier: Apache-2.0
"""What of the site is no file, as a CGI program."""
import os
import pathlib
import sys

path = os.environ["SCRIPT_NAME"]
method = os.environ["REQUEST_METHOD"]
out = sys.stdout.buffer
if path == "/empty":
    out.write(b"Status: 204\r\n\r\n")
elif path == "/method":
    out.write(b"Content-Type: text/plain\r\nX-Method: %b\r\n\r\n%b" % (2 * (method.encode(),)))
elif path == "/echo":
    out.write(b"Content-Type: text/plain\r\n\r\n" + sys.stdin.buffer.read())
else:
    out.write(b"Content-Type: text/plain\r\n\r\n")
    content = pathlib.Path(__file__).with_name("site").joinpath("chunked.txt").read_bytes()
    for begin in range(0, len(content), 10000):
        out.write(content[begin:begin + 10000])
        out.flush()
