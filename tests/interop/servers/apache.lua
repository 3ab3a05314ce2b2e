-- SPDX-License-Identifier: Apache-2.0
require "apache2"

function method(r)
    r.content_type = "text/plain"
    r.headers_out["X-Method"] = r.method
    r:puts(r.method)
    return apache2.OK
end

function chunked(r)
    r.content_type = "text/plain"
    for piece in io.lines(r.document_root .. "/chunked.txt", 1000) do
        r:puts(piece)
        r:flush()
    end
    return apache2.OK
end
