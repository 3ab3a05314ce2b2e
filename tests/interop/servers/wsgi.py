# SPDX-License-Identifier: Apache-2.0
"""The site as a WSGI application."""
import gzip
import os
import pathlib

TAG = '"one"'
SITE = pathlib.Path(os.environ["SITE"])


def pieces(content):
    for begin in range(0, len(content), 1000):
        yield content[begin:begin + 1000]


def serve_file(environ, start_response, path):
    if not path.is_file():
        content = b"there is no such thing"
        start_response("404 Not Found", [("Content-Length", str(len(content)))])
        return [content]
    if environ.get("HTTP_IF_NONE_MATCH") == TAG:
        start_response("304 Not Modified", [("ETag", TAG)])
        return []
    fields = [("Content-Type", "text/plain"), ("ETag", TAG)]
    content = path.read_bytes()
    if path.name == "chunked.txt":
        start_response("200 OK", fields)
        return pieces(content)
    if path.name == "text.txt" and "gzip" in environ.get("HTTP_ACCEPT_ENCODING", ""):
        fields.append(("Content-Encoding", "gzip"))
        content = gzip.compress(content)
    start_response("200 OK", fields + [("Content-Length", str(len(content)))])
    return [] if environ["REQUEST_METHOD"] == "HEAD" else [content]


def application(environ, start_response):
    method = environ["REQUEST_METHOD"]
    path = environ["PATH_INFO"]
    if path == "/empty":
        start_response("204 No Content", [])
        return []
    if path == "/method":
        start_response("200 OK", [("X-Method", method), ("Content-Length", str(len(method)))])
        return [] if method == "HEAD" else [method.encode()]
    if path == "/echo":
        content = environ["wsgi.input"].read()
        start_response("200 OK", [("Content-Length", str(len(content)))])
        return [content]
    return serve_file(environ, start_response, SITE / path[1:])
