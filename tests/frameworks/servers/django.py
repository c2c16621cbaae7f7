# Django: python3-django
from wsgiref.simple_server import make_server

from django.conf import settings
from django.core.wsgi import get_wsgi_application
from django.http import HttpResponse
from django.urls import path


def page(request):
    return HttpResponse(f"Hello, {request.POST.get('name')}!", "text/plain; charset=utf-8")


settings.configure(ROOT_URLCONF=__name__, ALLOWED_HOSTS=["localhost"])
urlpatterns = [path("apache-tunnel/", page)]
app = get_wsgi_application()
application = app  # plain


def application(environ, start_response):  # fix
    environ["CONTENT_TYPE"] = "application/x-www-form-urlencoded"  # fix
    return app(environ, start_response)  # fix


make_server("127.0.0.1", 8080, application).serve_forever()
