# CGI.pm: libcgi-pm-perl libhttp-server-simple-perl
package Page;
use CGI;
use parent "HTTP::Server::Simple::CGI";

sub handler {
    my $form = CGI->new; # plain
    read STDIN, my $body, $ENV{CONTENT_LENGTH}; # fix
    $body =~ s/;/%3B/g; # fix
    my $form = CGI->new($body); # fix
    my $name = $form->param("name");
    print "HTTP/1.0 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nHello, $name!";
}

my $server = Page->new(8080);
$server->host("127.0.0.1");
$server->run;
