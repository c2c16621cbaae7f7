from html import escape
from urllib.parse import parse_qsl
from wsgiref.simple_server import make_server

def page(environ, start_response):
    body = environ["wsgi.input"].read(int(environ["CONTENT_LENGTH"])).decode()
    form = dict(parse_qsl(body, keep_blank_values=True))
    start_response("200 OK", [("Content-Type", "text/html; charset=utf-8")])
    return ["Content-type: text/html; charset=utf-8\r\n\r\n".encode(),
            f"<p>Hello, {escape(form.get('name', 'you'))}!</p>\r\n".encode()]

make_server("127.0.0.1", 8080, page).serve_forever()
