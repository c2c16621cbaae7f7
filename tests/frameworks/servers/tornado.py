# Tornado: python3-tornado
import asyncio

from tornado.web import Application, RequestHandler


class Page(RequestHandler):
    def post(self):
        self.set_header("Content-Type", "text/plain; charset=utf-8")
        self.write(f"Hello, {self.get_body_argument('name', None)}!")


async def main():
    Application([("/apache-tunnel/", Page)]).listen(8080, "127.0.0.1")
    await asyncio.Event().wait()


asyncio.run(main())
