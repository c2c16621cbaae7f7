// Go's ParseForm: golang-go
package main

import (
	"fmt"
	"io" // fix
	"net/http"
	"net/url" // fix
	"strings" // fix
)

func page(response http.ResponseWriter, request *http.Request) {
	name := request.PostFormValue("name")                                   // plain
	body, _ := io.ReadAll(request.Body)                                     // fix
	form, _ := url.ParseQuery(strings.ReplaceAll(string(body), ";", "%3B")) // fix
	name := form.Get("name")                                                // fix
	response.Header().Set("Content-Type", "text/plain; charset=utf-8")
	fmt.Fprintf(response, "Hello, %s!", name)
}

func main() {
	http.HandleFunc("/apache-tunnel/", page)
	http.ListenAndServe("127.0.0.1:8080", nil)
}
