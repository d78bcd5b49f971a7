#!/usr/bin/python3
"""A small HTTP server on 127.0.0.1 for the answers no packaged CalDAV server
gives on demand: redirects, HTML error pages, broken multi-status bodies,
HTTP Digest authentication and TLS with a self-signed certificate.

usage: canned_server.py PORT [--digest USER PASSWORD] [--tls CERT KEY] [--html]

Paths (any method):
  /redirect        302 to /target/ (with a body)
  /forbidden-html  403 with an HTML page
  /broken-207      207 whose body is not XML
  /echo            207 multi-status naming the request's method and headers
  anything else    207 multi-status with one DAV:response for the path
With --html every request gets a 200 web page (a site, not a CalDAV server).
With --digest every request needs HTTP Digest credentials (qop=auth, MD5).
"""
import hashlib
import http.server
import os
import ssl
import sys

REALM = "merovan-test"
NONCE = os.urandom(16).hex()


def md5(text):
    return hashlib.md5(text.encode()).hexdigest()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    digest = None
    html = False

    def log_message(self, *args):
        pass

    def answer(self, status, body, content_type="text/xml; charset=utf-8", headers=()):
        data = body.encode()
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(data)))
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(data)

    def authorized(self):
        header = self.headers.get("Authorization", "")
        if not header.startswith("Digest "):
            return False
        fields = {}
        for part in header[7:].split(","):
            key, _, value = part.strip().partition("=")
            fields[key] = value.strip('"')
        user, password = self.digest
        if fields.get("username") != user or fields.get("nonce") != NONCE:
            return False
        ha1 = md5(f"{user}:{REALM}:{password}")
        ha2 = md5(f"{self.command}:{fields.get('uri', '')}")
        expected = md5(f"{ha1}:{NONCE}:{fields.get('nc', '')}:{fields.get('cnonce', '')}:"
                       f"{fields.get('qop', '')}:{ha2}")
        return fields.get("response") == expected

    def handle_any(self):
        length = int(self.headers.get("Content-Length") or 0)
        self.rfile.read(length)
        if self.digest and not self.authorized():
            challenge = f'Digest realm="{REALM}", qop="auth", nonce="{NONCE}", algorithm=MD5'
            self.answer(401, "<html><body>Unauthorized</body></html>", "text/html",
                        [("WWW-Authenticate", challenge)])
            return
        path = self.path
        if self.html:
            self.answer(200, "<html><head><title>Welcome</title></head><body>"
                        "<h1>Example Hosting</h1><p>This site is parked.</p></body></html>",
                        "text/html; charset=utf-8")
        elif path == "/redirect":
            self.answer(302, "moved", "text/plain", [("Location", "/target/")])
        elif path == "/forbidden-html":
            self.answer(403, "<html><head><title>403 Forbidden</title></head><body>"
                        "<h1>Forbidden</h1><p>You may not read &quot;calendar&quot;.</p>"
                        "</body></html>", "text/html")
        elif path == "/broken-207":
            self.answer(207, "<d:multistatus xmlns:d=\"DAV:\"><d:response><d:href>/a</d:href>")
        elif path == "/echo":
            headers = "".join(f"<d:header name=\"{name}\">{value}</d:header>"
                              for name, value in self.headers.items()
                              if name.lower() != "authorization")
            self.answer(207, f"<d:multistatus xmlns:d=\"DAV:\"><d:response><d:href>/echo</d:href>"
                        f"<d:method>{self.command}</d:method>{headers}</d:response></d:multistatus>")
        else:
            self.answer(207, f"<d:multistatus xmlns:d=\"DAV:\"><d:response><d:href>{path}</d:href>"
                        "<d:propstat><d:prop><d:displayname>canned</d:displayname></d:prop>"
                        "<d:status>HTTP/1.1 200 OK</d:status></d:propstat></d:response>"
                        "</d:multistatus>")

    def __getattr__(self, name):
        if name.startswith("do_"):
            return self.handle_any
        raise AttributeError(name)


def main():
    args = sys.argv[1:]
    port = int(args.pop(0))
    tls = None
    while args:
        option = args.pop(0)
        if option == "--digest":
            Handler.digest = (args.pop(0), args.pop(0))
        elif option == "--html":
            Handler.html = True
        elif option == "--tls":
            tls = (args.pop(0), args.pop(0))
    server = http.server.ThreadingHTTPServer(("127.0.0.1", port), Handler)
    if tls:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*tls)
        server.socket = context.wrap_socket(server.socket, server_side=True)
    print("ready", flush=True)
    server.serve_forever()


main()
