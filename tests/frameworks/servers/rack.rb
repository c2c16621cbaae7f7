# Rack: ruby-rack ruby-webrick
require "rack"

app = lambda do |env|
  env["CONTENT_TYPE"] = "application/x-www-form-urlencoded" # fix
  form = Rack::Request.new(env).POST
  [200, { "Content-Type" => "text/plain; charset=utf-8" }, ["Hello, #{form["name"]}!"]]
end

Rack::Handler::WEBrick.run(app, Host: "127.0.0.1", Port: 8080)
