// Koa: npm koa@3 koa-bodyparser@4
const Koa = require("koa");
const bodyParser = require("koa-bodyparser");

const app = new Koa();
app.use((context, next) => { // fix
  context.request.headers["content-type"] = "application/x-www-form-urlencoded"; // fix
  return next(); // fix
}); // fix
app.use(bodyParser());
app.use((context) => {
  context.type = "text/plain; charset=utf-8";
  context.body = `Hello, ${context.request.body?.name}!`;
});
app.listen(8080, "127.0.0.1");
