# Twisted: python3-twisted
from urllib.parse import parse_qsl  # fix

from twisted.internet import reactor
from twisted.web.resource import Resource
from twisted.web.server import Site


class Page(Resource):
    isLeaf = True

    def render_POST(self, request):
        request.setHeader("Content-Type", "text/plain; charset=utf-8")
        name = request.args.get(b"name", [b""])[0].decode()  # plain
        body = request.content.read().decode()  # fix
        name = dict(parse_qsl(body, keep_blank_values=True)).get("name")  # fix
        return f"Hello, {name}!".encode()


reactor.listenTCP(8080, Site(Page()), interface="127.0.0.1")
reactor.run()
