#!/usr/bin/perl
# The bridge's job in Perl: the variables and the form as one POST, and the answer.
use strict;
use warnings;
use HTTP::Tiny;

my @names = qw(
  SERVER_SOFTWARE QUERY_STRING REMOTE_ADDR REMOTE_PORT REQUEST_METHOD SERVER_ADDR SERVER_ADMIN
  SERVER_NAME SERVER_PORT SERVER_SIGNATURE HTTP_ACCEPT HTTP_ACCEPT_ENCODING HTTP_ACCEPT_LANGUAGE
  HTTP_CONNECTION HTTP_HOST HTTP_REFERER HTTP_USER_AGENT HTTP_COOKIE);

sub decoded {
  my ($text) = @_;
  $text =~ tr/+/ /;
  $text =~ s/%([0-9A-Fa-f]{2})/chr hex $1/ge;
  utf8::decode($text);
  return $text;
}

my %pairs = map { ("ApacheTunnel_$_" => $ENV{$_} // '') } @names;
read STDIN, my $form, $ENV{CONTENT_LENGTH} || 0;
for my $pair (split /&/, $form // '') {
  my ($key, $value) = split /=/, $pair, 3;
  $pairs{decoded($key)} = decoded($value // '');
}

my $response =
  HTTP::Tiny->new->post_form("http://127.0.0.1:$ENV{BENCHMARK_PORT}/apache-tunnel/", \%pairs);
die $response->{content} unless $response->{success};
print "Content-type: text/plain\r\n\r\n$response->{content}";
