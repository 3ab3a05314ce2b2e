// SPDX-License-Identifier: Apache-2.0
"use strict";
const fs = require("fs");
const http = require("http");
const https = require("https");
const zlib = require("zlib");

const [directory, idle, plain, tls, mutual] = process.argv.slice(2);
const TAG = '"one"';

function serveFile(request, response, path) {
    if (!fs.existsSync(path)) {
        response.writeHead(404, { "Content-Type": "text/plain" });
        return response.end("there is no such thing");
    }
    if (request.headers["if-none-match"] === TAG) {
        response.writeHead(304, { ETag: TAG });
        return response.end();
    }
    let content = fs.readFileSync(path);
    response.setHeader("ETag", TAG);
    if (path.endsWith("/text.txt") && /gzip/.test(request.headers["accept-encoding"])) {
        response.setHeader("Content-Encoding", "gzip");
        content = zlib.gzipSync(content);
    }
    if (path.endsWith("/closing.txt")) {
        response.setHeader("Connection", "close");
    }
    if (path.endsWith("/chunked.txt")) { // trailers, too
        response.setHeader("Trailer", "X-Trailer");
        for (let begin = 0; begin < content.length; begin += 1000) {
            response.write(content.subarray(begin, begin + 1000));
        }
        response.addTrailers({ "X-Trailer": "the end" });
        return response.end();
    }
    response.setHeader("Content-Length", content.length);
    response.end(content);
}

// After the last byte of the question: an answer that begins earlier ends the sending.
function echo(request, response) {
    const pieces = [];
    request.on("data", (piece) => pieces.push(piece));
    request.on("end", () => response.end(Buffer.concat(pieces)));
}

function serve(request, response) {
    switch (request.url) {
    case "/method":
        response.setHeader("X-Method", request.method);
        return response.end(request.method);
    case "/echo":
        return echo(request, response);
    case "/empty":
        response.writeHead(204);
        return response.end();
    default:
        serveFile(request, response, directory + "/site" + request.url);
    }
}

const options = {
    cert: fs.readFileSync(directory + "/server.pem"),
    key: fs.readFileSync(directory + "/server.key"),
};
const demanding = { ...options, ca: fs.readFileSync(directory + "/ca.pem"), requestCert: true };
for (const [server, port] of [
    [http.createServer(serve), plain],
    [https.createServer(options, serve), tls],
    [https.createServer(demanding, serve), mutual],
]) {
    server.keepAliveTimeout = idle * 1000;
    server.listen(Number(port), "127.0.0.1");
}
