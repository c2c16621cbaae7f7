# Pyramid: python3-pyramid
from wsgiref.simple_server import make_server

from pyramid.config import Configurator
from pyramid.response import Response


def page(request):
    return Response(f"Hello, {request.POST.get('name')}!", content_type="text/plain",
                    charset="utf-8")


with Configurator() as config:
    config.add_route("tunnel", "/apache-tunnel/")
    config.add_view(page, route_name="tunnel")
    app = config.make_wsgi_app()
application = app  # plain


def application(environ, start_response):  # fix
    environ["CONTENT_TYPE"] = "application/x-www-form-urlencoded"  # fix
    return app(environ, start_response)  # fix


make_server("127.0.0.1", 8080, application).serve_forever()
