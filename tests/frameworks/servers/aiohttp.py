# aiohttp: python3-aiohttp
from urllib.parse import parse_qsl  # fix

from aiohttp import web


async def page(request):
    form = await request.post()  # plain
    form = dict(parse_qsl(await request.text(), keep_blank_values=True))  # fix
    return web.Response(text=f"Hello, {form.get('name')}!")


app = web.Application()
app.add_routes([web.post("/apache-tunnel/", page)])
web.run_app(app, host="127.0.0.1", port=8080)
