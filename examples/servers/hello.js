const http = require("http");
const escape = (text) => text.replace(/[&<>"]/g, (c) => `&#${c.charCodeAt()};`);

http.createServer(async (request, response) => {
  let body = "";
  for await (const chunk of request) body += chunk;
  const form = new URLSearchParams(body);
  response.setHeader("Content-Type", "text/html; charset=utf-8");
  response.end("Content-type: text/html; charset=utf-8\r\n\r\n" +
    `<p>Hello, ${escape(form.get("name") ?? "you")}!</p>\r\n`);
}).listen(8080, "127.0.0.1");
