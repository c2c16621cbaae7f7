# FastAPI: python3-fastapi python3-uvicorn python3-multipart
import uvicorn
from fastapi import FastAPI, Form
from fastapi.responses import PlainTextResponse

app = FastAPI()


@app.post("/apache-tunnel/", response_class=PlainTextResponse)
async def page(name: str = Form(None)):
    return f"Hello, {name}!"


application = app  # plain
FORM = (b"content-type", b"application/x-www-form-urlencoded")  # fix


async def application(scope, receive, send):  # fix
    scope["headers"] = [FORM, *scope.get("headers", [])]  # fix
    await app(scope, receive, send)  # fix


uvicorn.run(application, host="127.0.0.1", port=8080)
