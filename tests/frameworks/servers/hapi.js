// hapi: npm @hapi/hapi@21
const Hapi = require("@hapi/hapi");

const server = Hapi.server({ port: 8080, host: "127.0.0.1" });
server.route({
  method: "POST",
  path: "/apache-tunnel/",
  handler: (request, h) =>
    h.response(`Hello, ${request.payload?.name}!`).type("text/plain; charset=utf-8"),
});
server.start();
