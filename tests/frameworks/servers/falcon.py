# Falcon: python3-falcon
from wsgiref.simple_server import make_server

import falcon


class Page:
    def on_post(self, request, response):
        response.content_type = "text/plain; charset=utf-8"
        response.text = f"Hello, {request.get_media().get('name')}!"


app = falcon.App()
app.add_route("/apache-tunnel/", Page())
application = app  # plain


def application(environ, start_response):  # fix
    environ["CONTENT_TYPE"] = "application/x-www-form-urlencoded"  # fix
    return app(environ, start_response)  # fix


make_server("127.0.0.1", 8080, application).serve_forever()
