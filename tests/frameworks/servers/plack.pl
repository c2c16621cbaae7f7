# Plack: libplack-perl
use Plack::Request;
use Plack::Runner;

my $app = sub {
    my $request = Plack::Request->new(shift);
    my $form = $request->body_parameters; # plain
    my $body = $request->content =~ s/;/%3B/gr; # fix
    my $form = Plack::Request->new({ QUERY_STRING => $body })->query_parameters; # fix
    [200, ["Content-Type" => "text/plain; charset=utf-8"], ["Hello, $form->{name}!"]];
};

my $runner = Plack::Runner->new;
$runner->parse_options("--host", "127.0.0.1", "--port", 8080);
$runner->run($app);
