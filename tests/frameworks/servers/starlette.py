# Starlette: python3-starlette python3-uvicorn python3-multipart
import uvicorn
from starlette.applications import Starlette
from starlette.responses import PlainTextResponse
from starlette.routing import Route


async def page(request):
    form = await request.form()
    return PlainTextResponse(f"Hello, {form.get('name')}!")


app = Starlette(routes=[Route("/apache-tunnel/", page, methods=["POST"])])
application = app  # plain
FORM = (b"content-type", b"application/x-www-form-urlencoded")  # fix


async def application(scope, receive, send):  # fix
    scope["headers"] = [FORM, *scope.get("headers", [])]  # fix
    await app(scope, receive, send)  # fix


uvicorn.run(application, host="127.0.0.1", port=8080)
