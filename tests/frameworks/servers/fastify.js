// Fastify: npm fastify@4 @fastify/formbody@7
const app = require("fastify")();

app.addHook("onRequest", async (request) => { // fix
  request.headers["content-type"] = "application/x-www-form-urlencoded"; // fix
}); // fix
app.register(require("@fastify/formbody"));
app.post("/apache-tunnel/", async (request, reply) => {
  reply.type("text/plain; charset=utf-8");
  return `Hello, ${request.body?.name}!`;
});
app.listen({ port: 8080, host: "127.0.0.1" });
