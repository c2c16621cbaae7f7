# WEBrick: ruby-webrick
require "uri" # fix
require "webrick"

server = WEBrick::HTTPServer.new(BindAddress: "127.0.0.1", Port: 8080)
server.mount_proc("/apache-tunnel/") do |request, response|
  form = request.query # plain
  form = URI.decode_www_form(request.body).to_h # fix
  response.content_type = "text/plain; charset=utf-8"
  response.body = "Hello, #{form["name"]}!"
end
server.start
