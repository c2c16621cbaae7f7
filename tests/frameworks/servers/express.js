// Express: npm express@5
const express = require("express");

const app = express();
app.use(express.urlencoded({ extended: false })); // plain
app.use(express.urlencoded({ extended: false, type: () => true })); // fix
app.post("/apache-tunnel/", (request, response) => {
  response.type("text/plain; charset=utf-8").send(`Hello, ${request.body?.name}!`);
});
app.listen(8080, "127.0.0.1");
