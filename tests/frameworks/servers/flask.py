# Flask: python3-flask
from flask import Flask, request

app = Flask(__name__)


@app.post("/apache-tunnel/")
def page():
    return f"Hello, {request.form.get('name')}!", {"Content-Type": "text/plain; charset=utf-8"}


app.run(host="127.0.0.1", port=8080)
