# Mojolicious: libmojolicious-perl
use Mojolicious::Lite -signatures;

post "/apache-tunnel/" => sub ($c) {
    $c->render(text => "Hello, " . $c->param("name") . "!", format => "txt");
};

app->start("daemon", "--listen", "http://127.0.0.1:8080");
