package main

import (
	"fmt"
	"html"
	"io"
	"net/http"
	"net/url"
	"strings"
)

func page(response http.ResponseWriter, request *http.Request) {
	body, _ := io.ReadAll(request.Body)
	form, _ := url.ParseQuery(strings.ReplaceAll(string(body), ";", "%3B"))
	form.Add("name", "you")
	response.Header().Set("Content-Type", "text/html; charset=utf-8")
	fmt.Fprintf(response, "Content-type: text/html; charset=utf-8\r\n\r\n<p>Hello, %s!</p>\r\n",
		html.EscapeString(form.Get("name")))
}

func main() {
	http.ListenAndServe("127.0.0.1:8080", http.HandlerFunc(page))
}
